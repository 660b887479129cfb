#include "layout/partcity.h"
#include "document/webreader.h"
#include "layout/citylayout.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

WebDocument read(const char* text, const char* extension)
{
    return *WebReader::read(QByteArray(text), QString::fromLatin1(extension));
}

const FileNode* child(const FileNode& folder, const QString& name)
{
    for (const auto& node : folder.children) {
        if (node->name == name)
            return node.get();
    }
    return nullptr;
}

} // namespace

// A class is a lot its methods stand on, each as many lines tall as it spans, in its role's colour;
// a plain function stands on the file's own ground, its own variables not drawn, and the script
// block around them all left out.
TEST(PartCity, ContainersAreLotsAndTheRestBuildings)
{
    const WebDocument document
        = read("class Box {\n  open() {\n    a();\n    b();\n  }\n  shut() { c(); }\n}\n"
               "function go() {\n  new Box();\n}\n",
            "js");
    const PartCity city(document, u"/x/app.js"_s, u"app.js"_s);
    const FileNode& root = city.root();
    EXPECT_EQ(root.name, u"app.js"_s);
    ASSERT_EQ(root.children.size(), 2u) << "the class and the function, not the script block";
    const FileNode* box = child(root, u"Box"_s);
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(box->isDirectory);
    const FileNode* open = child(*box, u"open"_s);
    ASSERT_NE(open, nullptr);
    EXPECT_FALSE(open->isDirectory);
    EXPECT_EQ(open->lines, 4);
    EXPECT_EQ(open->language, &PartCity::roleLanguage(WebRole::method));
    EXPECT_EQ(child(root, u"go"_s)->language->name, u"Function"_s);
    EXPECT_FALSE(child(root, u"go"_s)->isDirectory) << "its variable is no part of the city";
    EXPECT_EQ(root.fileCount, 3);

    // Each node stands for its part and back; every node is in the set that keeps them all standing.
    for (const FileNode* node : { box, open, child(root, u"go"_s) }) {
        const std::optional<qsizetype> part = city.part(node);
        ASSERT_TRUE(part.has_value());
        EXPECT_EQ(city.node(*part), node);
        EXPECT_EQ(document.nodes[std::size_t(*part)].name, node->name);
        EXPECT_TRUE(city.everyNode().contains(node));
    }
    EXPECT_EQ(city.node(-1), nullptr);
    EXPECT_EQ(city.node(qsizetype(document.nodes.size())), nullptr);
    EXPECT_FALSE(city.part(&root).has_value());
}

// A source file's includes are listed in its outline, not stood up among its own parts.
TEST(PartCity, IncludesStayOutOfTheCity)
{
    const WebDocument document
        = read("#include <stdio.h>\n#include \"box.h\"\nint main() { return 0; }\n", "c");
    const PartCity city(document, u"/x/main.c"_s, u"main.c"_s);
    QStringList names;
    city.root().forEach([&names](const FileNode& part) { names << part.name; });
    EXPECT_EQ(names, QStringList { u"main"_s });
}

// The city layout draws every part given the city's nodes, however many share one lot: none is
// folded into a block, which would read as one part.
TEST(PartCity, EveryPartStandsOnItsOwn)
{
    QByteArray text;
    for (int i = 0; i < 3000; ++i)
        text += "function f" + QByteArray::number(i) + "() { g(); }\n";
    const WebDocument document = *WebReader::read(text, u"js");
    const PartCity city(document, u"/x/big.js"_s, u"big.js"_s);
    const LayoutResult layout = CityLayout::build(city.root(), HeightMode::lines, 1, {}, &city.everyNode());
    qint64 buildings = 0;
    for (const Placement& placement : layout.placements)
        buildings += placement.kind == PlacementKind::building;
    EXPECT_EQ(layout.aggregated, 0);
    EXPECT_EQ(buildings, city.root().fileCount);
    EXPECT_GT(buildings, 1000);
}

// Roles that read alike share a colour; those that do not, differ, in both themes.
TEST(PartCity, RolesThatDifferLookDifferent)
{
    EXPECT_EQ(&PartCity::roleLanguage(WebRole::rule), &PartCity::roleLanguage(WebRole::atRule));
    const std::array distinct { WebRole::function, WebRole::method, WebRole::klass, WebRole::handler,
        WebRole::rule, WebRole::element, WebRole::variable, WebRole::scriptBlock, WebRole::external };
    for (std::size_t a = 0; a < distinct.size(); ++a) {
        for (std::size_t b = a + 1; b < distinct.size(); ++b) {
            const Language& one = PartCity::roleLanguage(distinct[a]);
            const Language& other = PartCity::roleLanguage(distinct[b]);
            EXPECT_NE(one.name, other.name);
            EXPECT_NE(one.darkColor, other.darkColor);
            EXPECT_NE(one.lightColor, other.lightColor);
        }
    }
}

// A file with nothing to stand up makes an empty city, not a broken one.
TEST(PartCity, AnEmptyFileMakesAnEmptyCity)
{
    const WebDocument document = read("", "js");
    const PartCity city(document, u"/x/e.js"_s, u"e.js"_s);
    EXPECT_TRUE(city.root().children.empty());
    EXPECT_EQ(city.everyNode().size(), 1u);
}
