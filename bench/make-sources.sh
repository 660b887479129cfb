#!/usr/bin/env bash
# bench/make-sources.sh DIR: the inputs of bench/structure.sh, written into DIR:
#   bundle.js   a minified script bundle of about 4 MB (modules of functions, classes, objects, regexes)
#   styles.css  a stylesheet of about 3 MB (rules, media queries, custom properties, keyframes)
#   page.html   a page of 3,000 elements with inline handlers, a style block and a script block
#   big.cpp     a C++ source of 20,000 lines (namespaces, classes, out-of-line methods, calls)
set -euo pipefail
dir=$1
mkdir -p "$dir"

perl -e '
    my $out = "!function(modules){var cache={};function require(id){if(cache[id])return cache[id].exports;var m=cache[id]={exports:{}};modules[id].call(m.exports,m,m.exports,require);return m.exports}require(0)}([";
    my $i = 0;
    while (length($out) < 4_000_000 - 600) {
        $out .= "function(e,t,n){\"use strict\";var r=n(" . ($i % 97) . "),o=n(" . (($i * 7) % 89) . ");"
              . "function a$i(e,t){return e&&e.__esModule?e:{default:e,name:\"m$i\"}}"
              . "var s$i=/^(?:[a-z]+)\\/(\\d{1,3})\$/i,u=function(e){return e.replace(s$i,\"\$1\")/2};"
              . "class C$i extends r.Base{constructor(e){super(e);this.state={open:!1,count:$i}}"
              . "render(){return o.h(\"div\",{className:\"c$i\",onClick:this.toggle},this.props.children)}"
              . "toggle(){this.setState({open:!this.state.open});a$i(r)}}"
              . "t.default=C$i;t.helper=(e,n)=>e.map(t=>u(t)+n);document.getElementById(\"x$i\")&&document.getElementById(\"x$i\").addEventListener(\"click\",function(e){new C$i(e)})},";
        $i++;
    }
    $out =~ s/,$//;
    print $out . "]);\n";' > "$dir/bundle.js"

perl -e '
    my $out = ":root{--brand:#0b7285;--gap:8px;--radius:4px}\n";
    my $i = 0;
    while (length($out) < 3_000_000 - 400) {
        $out .= ".card-$i, .card-$i > .title:hover, #panel-$i ul li a {\n  color: var(--brand);\n  padding: calc(var(--gap) * 2) 4px;\n  border-radius: var(--radius);\n  background: url(\"img/$i.png\") no-repeat;\n}\n";
        $out .= "\@media (max-width: " . (400 + $i % 800) . "px) {\n  .card-$i { display: none; }\n  #panel-$i { margin: 0 auto; }\n}\n" if $i % 5 == 0;
        $out .= "\@keyframes pulse-$i {\n  from { opacity: 0; }\n  to { opacity: 1; }\n}\n.pulse-$i { animation: pulse-$i 1s ease-in-out infinite; }\n" if $i % 11 == 0;
        $i++;
    }
    print $out;' > "$dir/styles.css"

perl -e '
    my $out = "<!DOCTYPE html>\n<html>\n<head>\n<title>Catalogue</title>\n<style>\n.item { color: #333 } #list { margin: 0 }\n.item.sold { opacity: .5 }\n</style>\n</head>\n<body>\n<ul id=\"list\">\n";
    my $elements = 7;
    my $i = 0;
    while ($elements < 3000 - 2) {
        $out .= "  <li class=\"item" . ($i % 3 ? "" : " sold") . "\" id=\"item-$i\">\n    <a href=\"/item/$i\" onclick=\"pick($i); return false\">Item $i</a>\n    <span class=\"price\">" . ($i * 3 % 100) . ".00</span>\n  </li>\n";
        $elements += 3;
        $i++;
    }
    $out .= "</ul>\n<script>\nfunction pick(n) { document.getElementById(\"item-\" + n).classList.toggle(\"picked\"); }\n"
          . "document.getElementById(\"list\").addEventListener(\"click\", function (e) { pick(0); });\n</script>\n</body>\n</html>\n";
    print $out;' > "$dir/page.html"

perl -e '
    my @lines = ("#include <string>", "#include <vector>", "#include \"engine.h\"", "");
    my $i = 0;
    while (@lines < 20000 - 40) {
        push @lines, "namespace part$i {", "",
            "class Unit$i : public Base {", "public:", "    explicit Unit$i(int id) : m_id(id), m_name{\"u$i\"} {}",
            "    int id() const { return m_id; }", "    void update(double dt);", "    std::string describe() const;", "",
            "private:", "    int m_id;", "    std::string m_name;", "    std::vector<double> m_samples;", "    double m_average = 0;", "};", "",
            "void Unit$i\::update(double dt)", "{", "    m_samples.push_back(dt * m_id);",
            "    if (m_samples.size() > 64)", "        m_samples.erase(m_samples.begin());", "    notify(m_id);", "    m_average = average$i(m_samples);", "}", "",
            "std::string Unit$i\::describe() const", "{", "    return m_name + std::to_string(m_samples.size());", "}", "",
            "static double average$i(const std::vector<double>& values)", "{", "    double sum = 0;",
            "    for (double v : values)", "        sum += v;", "    return values.empty() ? 0 : sum / values.size();", "}",
            "", "} // namespace part$i", "";
        $i++;
    }
    push @lines, "int main()", "{", "    part0::Unit0 unit(1);", "    unit.update(0.5);", "    return 0;", "}";
    print join("\n", @lines), "\n";' > "$dir/big.cpp"
