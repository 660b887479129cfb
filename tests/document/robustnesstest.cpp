#include "document/webreader.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QRandomGenerator>

using namespace Qt::StringLiterals;

namespace {

// What every document must hold to, however odd its text: ids are places, parents and children
// agree, depths follow parents, every node is drawn once, links join real nodes and are indexed.
void expectConsistent(const WebDocument& document)
{
    const qsizetype count = qsizetype(document.nodes.size());
    ASSERT_EQ(document.positions.size(), size_t(count));
    ASSERT_EQ(document.drawn.size(), count);
    ASSERT_EQ(document.outgoing.size(), size_t(count));
    QList<qsizetype> reached;
    for (const WebDocument::Node& node : document.nodes) {
        ASSERT_EQ(node.id, qsizetype(&node - document.nodes.data()));
        if (node.parent) {
            ASSERT_TRUE(*node.parent >= 0 && *node.parent < count);
            const WebDocument::Node& parent = document.nodes[size_t(*node.parent)];
            ASSERT_TRUE(parent.children.contains(node.id));
            ASSERT_EQ(node.depth, parent.depth + 1);
        } else {
            ASSERT_TRUE(document.roots.contains(node.id));
            ASSERT_EQ(node.depth, 0);
        }
        ASSERT_LE(node.line, node.endLine);
        ASSERT_LT(node.endLine, document.lines.size());
    }
    for (qsizetype row = 0; row < count; ++row)
        ASSERT_EQ(document.positions[size_t(document.drawn[row])].row, row);
    for (size_t i = 0; i < document.links.size(); ++i) {
        const WebDocument::Link& link = document.links[i];
        ASSERT_NE(link.from, link.to);
        ASSERT_TRUE(document.outgoing[size_t(link.from)].contains(qsizetype(i)));
        ASSERT_TRUE(document.incoming[size_t(link.to)].contains(qsizetype(i)));
    }
}

const QStringList extensions { u"html"_s, u"css"_s, u"js"_s, u"ts"_s, u"c"_s, u"cpp"_s, u"h"_s, u"rs"_s };

void readEveryWay(const QByteArray& text)
{
    for (const QString& extension : extensions) {
        const std::optional<WebDocument> document = WebReader::read(text, extension);
        ASSERT_TRUE(document.has_value());
        SCOPED_TRACE(extension.toStdString());
        expectConsistent(*document);
    }
}

QList<QByteArray> samples()
{
    QList<QByteArray> found;
    const QDir folder(dataPath(QStringLiteral("structure")));
    for (const QString& name : folder.entryList(QDir::Files)) {
        if (name.endsWith(u".expected"))
            continue;
        QFile file(folder.filePath(name));
        if (file.open(QIODevice::ReadOnly))
            found << file.readAll();
    }
    return found;
}

} // namespace

TEST(ReaderRobustness, SampleFilesAreConsistentDocuments)
{
    const QList<QByteArray> texts = samples();
    ASSERT_GE(texts.size(), 10);
    for (const QByteArray& text : texts)
        readEveryWay(text);
}

TEST(ReaderRobustness, EveryCutOfTheSamplesReads)
{
    // Each sample cut at forty places, mid-token, mid-string and mid-comment included, read by
    // every reader.
    for (const QByteArray& text : samples()) {
        for (int cut = 1; cut <= 40; ++cut)
            readEveryWay(text.first(text.size() * cut / 41));
    }
}

TEST(ReaderRobustness, RandomBytesRead)
{
    QRandomGenerator random(20261123);
    const QByteArray alphabet = "(){}[]<>/*\\'\"`#;:,.=!&|@$-_ \n\tazAZ09é";
    for (int round = 0; round < 60; ++round) {
        QByteArray text(qsizetype(random.bounded(1, 4000)), '\0');
        for (char& c : text)
            c = round % 2 ? char(random.bounded(256)) : alphabet[random.bounded(int(alphabet.size()))];
        readEveryWay(text);
    }
}

TEST(ReaderRobustness, DeepNestingReads)
{
    for (const char* opener : { "(", "{", "[", "<div>", "@media x {", "class A {", "namespace a {", "mod m {",
             "function f() {", "`${", "/*" }) {
        SCOPED_TRACE(opener);
        readEveryWay(QByteArray(opener).repeated(60000));
    }
}

TEST(ReaderRobustness, InputsThatOnceBrokeAReaderRead)
{
    // Found by fuzzing: a class body ending in an unclosed computed name; a byte literal "b'" with
    // no closing quote, once read as ending before it began; a record's fields in brackets never
    // closed.
    for (const QByteArray& text : { QByteArray("\x82"
                                               "d__r\0class\x01\x05"
                                               "c={clas\0\0\0\0sa\x02\0\0\0\x8f[",
                                        32),
             QByteArray("b'\xa9\0", 4), QByteArray("#=#==&#==b''Z\0\0\0\0", 17), QByteArray("b'"),
             QByteArray("enum 'e(((%K") })
        readEveryWay(text);
}

TEST(ReaderRobustness, ALongSingleLineReads)
{
    QByteArray bundle;
    for (int i = 0; bundle.size() < 2'000'000; ++i)
        bundle
            += "var a" + QByteArray::number(i) + "=function(b){return b/2+c(" + QByteArray::number(i) + ")};";
    const std::optional<WebDocument> document = WebReader::read(bundle, u"js"_s);
    ASSERT_TRUE(document.has_value());
    expectConsistent(*document);
    EXPECT_TRUE(document->truncated);
    EXPECT_EQ(document->nodes.size(), 1501u) << "the root and the symbol budget";
}
