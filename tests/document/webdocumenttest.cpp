#include "document/webreader.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

WebDocument read(const QByteArray& text, const QString& extension)
{
    std::optional<WebDocument> document = WebReader::read(text, extension);
    EXPECT_TRUE(document.has_value()) << extension.toStdString();
    return document ? *document : WebDocument();
}

qsizetype idOf(const WebDocument& document, const QString& name, std::optional<WebRole> role = {})
{
    for (const WebDocument::Node& node : document.nodes) {
        if (node.name == name && (!role || node.role == *role))
            return node.id;
    }
    ADD_FAILURE() << "no node named " << name.toStdString();
    return -1;
}

// Links as "from kind to" by node name, in link order.
QStringList links(const WebDocument& document)
{
    QStringList out;
    for (const WebDocument::Link& link : document.links)
        out << document.nodes[size_t(link.from)].name + u' ' + linkKindName(link.kind) + u' '
                + document.nodes[size_t(link.to)].name;
    return out;
}

struct DispatchRow {
    const char* extension;
    const char* program; // empty: no reader
    const char* root;
};

void PrintTo(const DispatchRow& row, std::ostream* out)
{
    *out << row.extension;
}

} // namespace

class WebDispatch : public testing::TestWithParam<DispatchRow> { };

TEST_P(WebDispatch, ChoosesTheReaderByExtension)
{
    const QByteArray text = "struct a { int b; };\n";
    const std::optional<WebDocument> document
        = WebReader::read(text, QString::fromLatin1(GetParam().extension));
    ASSERT_EQ(document.has_value(), *GetParam().program != '\0');
    EXPECT_EQ(WebReader::readsExtension(QString::fromLatin1(GetParam().extension)), document.has_value());
    if (!document)
        return;
    EXPECT_EQ(document->program, QString::fromUtf8(GetParam().program));
    if (*GetParam().root == '\0')
        return; // a page of no elements has no root
    ASSERT_FALSE(document->roots.isEmpty());
    EXPECT_EQ(document->nodes[size_t(document->roots.first())].name, QString::fromUtf8(GetParam().root));
}

INSTANTIATE_TEST_SUITE_P(Table, WebDispatch,
    testing::Values(DispatchRow { "c", "C", "C source" }, DispatchRow { "C", "C", "C source" },
        DispatchRow { "h", "C", "C source" }, DispatchRow { "hpp", "C++", "C++ source" },
        DispatchRow { "ino", "C++", "C++ source" }, DispatchRow { "c++", "C++", "C++ source" },
        DispatchRow { "inl", "C++", "C++ source" }, DispatchRow { "rs", "Rust", "Rust source" },
        DispatchRow { "HTML", "HTML", "" }, DispatchRow { "less", "CSS", "Stylesheet" },
        DispatchRow { "css", "CSS", "Stylesheet" }, DispatchRow { "tsx", "JavaScript", "Script" },
        DispatchRow { "cts", "JavaScript", "Script" }, DispatchRow { "txt", "", "" },
        DispatchRow { "", "", "" }, DispatchRow { "json", "", "" }),
    [](const auto& info) {
        const std::string name = info.param.extension;
        return name.empty() ? std::string("none") : name == "c++" ? std::string("cplusplus") : name;
    });

struct TextFormRow {
    const char* name;
    const char* extension;
    QByteArray text;
    QList<std::pair<const char*, qint64>> declarations; // name, 0-based line
    qint64 lines;
};

void PrintTo(const TextFormRow& row, std::ostream* out)
{
    *out << row.name;
}

class TextForms : public testing::TestWithParam<TextFormRow> { };

// A byte-order mark, Windows line ends and old Mac ones hide no declaration and shift no line.
TEST_P(TextForms, HideNoDeclarationAndShiftNoLine)
{
    const TextFormRow& row = GetParam();
    const WebDocument document = read(row.text, QString::fromLatin1(row.extension));
    for (const auto& [name, line] : row.declarations) {
        const qsizetype id = idOf(document, QString::fromLatin1(name));
        if (id >= 0) {
            EXPECT_EQ(document.nodes[size_t(id)].line, line) << name;
        }
    }
    EXPECT_EQ(document.stats.lines, row.lines);
    EXPECT_EQ(document.lines.size(), row.lines);
    for (const QString& line : document.lines)
        EXPECT_FALSE(line.contains(u'\r') || line.contains(QChar(0xFEFF))) << line.toStdString();
}

INSTANTIATE_TEST_SUITE_P(Table, TextForms,
    testing::Values(TextFormRow { "MarkedScript", "js",
                        "\xEF\xBB\xBF"
                        "function first() {}\nfunction second() { first(); }\n",
                        { { "first", 0 }, { "second", 1 } }, 3 },
        TextFormRow { "MarkedRust", "rs",
            "\xEF\xBB\xBF"
            "fn first() {}\nfn second() { first(); }\n",
            { { "first", 0 }, { "second", 1 } }, 3 },
        TextFormRow { "OldMacC", "c",
            "#include <a.h>\r// note\rint main() { return 0; }\rint other() { return main(); }\r",
            { { "main", 2 }, { "other", 3 } }, 5 },
        TextFormRow { "WindowsC", "c",
            "#include <a.h>\r\n// note\r\nint main() { return 0; }\r\nint other() { return main(); }\r\n",
            { { "main", 2 }, { "other", 3 } }, 5 },
        TextFormRow { "MarkedStylesheet", "css",
            "\xEF\xBB\xBF"
            "a { color: red; }\r.b { margin: 0 }\r",
            { { "a", 0 }, { ".b", 1 } }, 3 }),
    rowName);

TEST(WebDocument, AHeaderIsCppWhenItSaysSo)
{
    EXPECT_EQ(read("namespace x { int f(); }", u"h"_s).program, u"C++");
    EXPECT_EQ(read("namespace x { int f(); }", u"h"_s).programFile, u"x.cpp");
    EXPECT_EQ(read("int f(void);", u"h"_s).programFile, u"x.c");
}

TEST(WebDocument, AScriptWithoutDeclarationsHasOneRoot)
{
    const WebDocument document = read("", u"js"_s);
    ASSERT_EQ(document.nodes.size(), 1u);
    const WebDocument::Node& root = document.nodes[0];
    EXPECT_EQ(root.role, WebRole::scriptBlock);
    EXPECT_EQ(root.name, u"Script");
    EXPECT_EQ(root.detail, u"0 top-level declarations");
    EXPECT_EQ(root.tag, u"js");
    EXPECT_EQ(root.endLine, 0);
    EXPECT_EQ(document.stats.scripts, 1);
    EXPECT_EQ(document.stats.lines, 1);
    EXPECT_EQ(read("f();\ng();\n", u"js"_s).nodes[0].endLine, 2) << "three lines, counted from 0";
}

TEST(WebDocument, CarriageReturnsChangeNothing)
{
    const QByteArray unix = "function a() {\n  b();\n}\n\nfunction b() {}\n";
    QByteArray windows = unix;
    windows.replace("\n", "\r\n");
    const WebDocument one = read(unix, u"js"_s);
    const WebDocument two = read(windows, u"js"_s);
    EXPECT_EQ(one.lines, two.lines);
    ASSERT_EQ(one.nodes.size(), two.nodes.size());
    for (size_t i = 0; i < one.nodes.size(); ++i) {
        EXPECT_EQ(one.nodes[i].line, two.nodes[i].line);
        EXPECT_EQ(one.nodes[i].endLine, two.nodes[i].endLine);
    }
    EXPECT_NE(one.identity, two.identity) << "every read is a document of its own";
}

TEST(WebDocument, LinksAreUniqueAndNeverToItself)
{
    const WebDocument document = read("function a() { a(); b(); b(); }\nfunction b() { a(); }", u"js"_s);
    EXPECT_EQ(links(document), QStringList({ u"a calls b"_s, u"b calls a"_s }));
    const qsizetype a = idOf(document, u"a"_s);
    const qsizetype b = idOf(document, u"b"_s);
    EXPECT_EQ(document.callees(a), QList<qsizetype>({ b }));
    EXPECT_EQ(document.callers(a), QList<qsizetype>({ b }));
    EXPECT_TRUE(document.callees(-1).isEmpty());
    EXPECT_TRUE(document.callers(qsizetype(document.nodes.size())).isEmpty());
}

TEST(WebDocument, IdAndClassSelectorsStyleOnlyTheirElements)
{
    const WebDocument document = read("<div id=main></div><p class=main></p><main></main>"
                                      "<style>#main { } .main { } main { }</style>",
        u"html"_s);
    EXPECT_EQ(links(document), QStringList({ u"#main styles div#main"_s, u".main styles p.main"_s }))
        << "a tag selector styles nothing it is linked to";
}

TEST(WebDocument, LinkingStopsAtItsLimit)
{
    QByteArray page = "<ul>" + QByteArray("<li class=i></li>").repeated(2990) + "</ul><style>";
    for (int rule = 0; rule < 20; ++rule)
        page += ".i { order: " + QByteArray::number(rule) + " }\n";
    const WebDocument document = read(page + "</style>", u"html"_s);
    EXPECT_EQ(qsizetype(document.links.size()), WebReader::Builder::linkLimit);
    EXPECT_TRUE(document.truncated);
    EXPECT_FALSE(read("<p class=i></p><style>.i {}</style>", u"html"_s).truncated);
}

TEST(WebDocument, InlineHandlersListenWithTheFunctionTheyCall)
{
    const WebDocument document = read("<button onclick=\"if (ok) save(1)\">Save</button>\n"
                                      "<script>\n\nfunction save(n) {}\n</script>",
        u"html"_s);
    EXPECT_EQ(links(document), QStringList({ u"button listens save"_s }));
    const WebDocument::Node& save = document.nodes[size_t(idOf(document, u"save"_s))];
    EXPECT_EQ(save.line, 3) << "lines of a script block count from the top of the page";
    EXPECT_EQ(document.source(save.id), u"function save(n) {}");
    EXPECT_EQ(document.stats.scriptLines, 4);
    EXPECT_EQ(document.stats.markupLines, 1);
}

TEST(WebDocument, CodeTouchesTheElementsItQueries)
{
    const WebDocument document
        = read("<nav><ul id=items><li class='item sold'>a</li><li class=item>b</li></ul></nav>"
               "<ol><li class=item>c</li></ol>"
               "<script>function a() { document.querySelectorAll('nav li.item.sold'); }\n"
               "function b() { document.querySelector('#items > .item, ol li'); }</script>",
            u"html"_s);
    EXPECT_EQ(links(document),
        QStringList({ u"a touches li.item.…"_s, u"b touches li.item.…"_s, u"b touches li.item"_s,
            u"b touches li.item"_s }));
}

TEST(WebDocument, StylesUseCustomPropertiesAndAnimateKeyframes)
{
    const WebDocument document = read(":root { --a: 1; }\n.x { width: var(--a); animation: Spin 1s; }\n"
                                      "@keyframes spin { to { opacity: 0 } }\n.y { color: var(--nothing); }",
        u"css"_s);
    EXPECT_EQ(links(document), QStringList({ u".x uses :root"_s, u".x animates @keyframes spin"_s }));
    EXPECT_EQ(document.definition(u"--A"_s), idOf(document, u":root"_s));
    EXPECT_EQ(document.definition(u"spin"_s), idOf(document, u"@keyframes spin"_s));
}

TEST(WebDocument, DefinitionPrefersTheEnclosingClass)
{
    const WebDocument document = read("class A { save() {} open() { this.save(); } }\n"
                                      "class B { save() {} open() { this.save(); } }\n"
                                      "function save() {}",
        u"js"_s);
    const QList<qsizetype> saves = document.definitions.value(u"save"_s);
    ASSERT_EQ(saves.size(), 3);
    const qsizetype openInB = document.nodes[size_t(idOf(document, u"B"_s))].children.last();
    EXPECT_EQ(document.definition(u"save"_s, openInB), saves[1]);
    EXPECT_EQ(document.definition(u"save"_s), saves[0]);
    EXPECT_EQ(document.definition(u"save"_s, idOf(document, u"save"_s, WebRole::function)), saves[0])
        << "outside every class: the first";
    EXPECT_FALSE(document.definition(u""_s).has_value());
    EXPECT_FALSE(document.definition(u"missing"_s).has_value());
    // Each open calls its own class's save.
    EXPECT_EQ(links(document), QStringList({ u"open calls save"_s, u"open calls save"_s }));
    EXPECT_EQ(document.links[1].to, saves[1]);
}

TEST(WebDocument, SameNamesInUnrelatedScopesAreAmbiguous)
{
    const WebDocument document = read("namespace a { void run() {} }\nnamespace b { void run() {} }\n"
                                      "namespace a { void go() { run(); } }\nvoid top() { run(); }\n"
                                      "void over(int) {}\nvoid over(double) {}\nvoid user() { over(1); }",
        u"cpp"_s);
    EXPECT_EQ(links(document), QStringList({ u"user calls over"_s }))
        << "run is ambiguous from outside both namespaces, and go's namespace a is another block";
}

TEST(WebDocument, MembersCallEachOtherWithoutThis)
{
    const WebDocument document = read("class Pump { void start() { prime(); } void prime() {} };\n"
                                      "void prime2() {}\nstruct Other { void prime() {} };",
        u"cpp"_s);
    EXPECT_EQ(links(document), QStringList({ u"start calls prime"_s }));
    EXPECT_EQ(document.links[0].to, document.nodes[size_t(idOf(document, u"Pump"_s))].children.last());
}

TEST(WebDocument, HandlersAreGatheredUnderEvents)
{
    const WebDocument document
        = read("void onPulse() {}\nvoid setup() { attachInterrupt(0, onPulse, RISING); }\n"
               "void loop() {}\nISR(TIMER0_vect) {}\n",
            u"ino"_s);
    const qsizetype events = document.roots.last();
    const WebDocument::Node& root = document.nodes[size_t(events)];
    EXPECT_EQ(root.role, WebRole::events);
    EXPECT_EQ(root.detail, u"3 events");
    EXPECT_EQ(root.line, -1);
    QStringList groups;
    for (const qsizetype id : root.children) {
        const WebDocument::Node& group = document.nodes[size_t(id)];
        EXPECT_EQ(group.role, WebRole::event);
        EXPECT_EQ(group.depth, 1);
        EXPECT_TRUE(group.measured);
        groups << group.name + u':' + QString::number(group.children.size());
        for (const qsizetype handler : group.children) {
            EXPECT_EQ(document.nodes[size_t(handler)].depth, 2);
            EXPECT_EQ(document.nodes[size_t(handler)].parent, id);
        }
    }
    EXPECT_EQ(groups, QStringList({ u"interrupt:2"_s, u"start:1"_s, u"loop:1"_s }));
    EXPECT_EQ(document.positions[size_t(events)].lines, 4) << "one line each, added up";
    EXPECT_EQ(links(document), QStringList({ u"setup calls onPulse"_s }));
    EXPECT_EQ(
        document.callers(idOf(document, u"onPulse"_s)), QList<qsizetype>({ idOf(document, u"setup"_s) }));
}

TEST(WebDocument, TheDrawnOrderIsTheOutlineOrder)
{
    const WebDocument document = read("class W { void b(); };\nvoid W::b() {}\nvoid a() {}\n", u"cpp"_s);
    QStringList order;
    for (const qsizetype id : document.drawn)
        order << document.nodes[size_t(id)].name;
    EXPECT_EQ(order, QStringList({ u"C++ source"_s, u"W"_s, u"b"_s, u"a"_s }));
    for (qsizetype row = 0; row < document.drawn.size(); ++row)
        EXPECT_EQ(document.positions[size_t(document.drawn[row])].row, row);
    EXPECT_EQ(document.positions[size_t(idOf(document, u"W"_s))].lines, 1);
}

TEST(WebDocument, RawValuesDecodeOnlyInRange)
{
    EXPECT_EQ(streamFromRaw(2), WebStream::script);
    EXPECT_FALSE(streamFromRaw(3).has_value());
    EXPECT_FALSE(streamFromRaw(-1).has_value());
    EXPECT_EQ(linkKindFromRaw(7), LinkKind::animates);
    EXPECT_FALSE(linkKindFromRaw(8).has_value());
    EXPECT_EQ(roleName(WebRole::klass), u"klass");
    EXPECT_EQ(linkKindName(LinkKind::instantiates), u"instantiates");
}

TEST(WebDocument, CalledNamesInHandlerCode)
{
    EXPECT_EQ(WebReader::Builder::called(u"if (ok) save(1); $log (x); a.b_2(c(d))"),
        QStringList({ u"save"_s, u"b_2"_s, u"c"_s }))
        << "a word only just before its parenthesis";
}
