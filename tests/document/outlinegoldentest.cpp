#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

Outcome korvane(const QStringList& arguments)
{
    return runHeadless(QStringLiteral(KORVANE_BINARY), arguments);
}

QString dataPath(const QString& name)
{
    return QStringLiteral(KORVANE_TEST_DATA "/structure/") + name;
}

struct GoldenCase {
    const char* file;
    bool json;
};

void PrintTo(const GoldenCase& row, std::ostream* out)
{
    *out << row.file << (row.json ? " --json" : "");
}

} // namespace

class OutlineGolden : public testing::TestWithParam<GoldenCase> { };

TEST_P(OutlineGolden, PrintsWhatTheExpectedFileHolds)
{
    const QString file = QString::fromLatin1(GetParam().file);
    QStringList arguments { u"outline"_s, dataPath(file) };
    if (GetParam().json)
        arguments << u"--json"_s;
    const Outcome run = korvane(arguments);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, QByteArray());
    expectGolden(run.out, dataPath(file + (GetParam().json ? u".json.expected"_s : u".expected"_s)));
}

INSTANTIATE_TEST_SUITE_P(Files, OutlineGolden,
    testing::Values(GoldenCase { "shop.html", false }, GoldenCase { "newsletter.htm", false },
        GoldenCase { "theme.css", false }, GoldenCase { "components.scss", false },
        GoldenCase { "menu.js", false }, GoldenCase { "store.ts", false },
        GoldenCase { "flowmeter.ino", false }, GoldenCase { "geometry.hpp", false },
        GoldenCase { "ringbuffer.c", false }, GoldenCase { "server.cpp", false },
        GoldenCase { "service.rs", false }, GoldenCase { "newsletter.htm", true },
        GoldenCase { "flowmeter.ino", true }),
    [](const auto& info) {
        std::string name = info.param.file;
        for (char& c : name)
            c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
        return name + (info.param.json ? "_json" : "");
    });

TEST(OutlineCommand, JsonIsTheWholeDocument)
{
    const Outcome run = korvane({ u"outline"_s, dataPath(u"shop.html"_s), u"--json"_s });
    ASSERT_EQ(run.exitCode, 0);
    QJsonParseError error;
    const QJsonObject json = QJsonDocument::fromJson(run.out, &error).object();
    ASSERT_EQ(error.error, QJsonParseError::NoError);
    const QJsonArray nodes = json[u"nodes"].toArray();
    ASSERT_FALSE(nodes.isEmpty());
    for (const QJsonValue& node : nodes) {
        for (const char* key : { "id", "role", "stream", "name", "detail", "tag", "line", "endLine",
                 "children", "parent", "depth", "calls", "methodCalls", "constructs", "selectors", "defines",
                 "uses", "animations", "targets", "handlers", "measured", "event", "base" })
            ASSERT_TRUE(node.toObject().contains(QLatin1String(key))) << key;
    }
    // Links name real nodes by id, with the kind's case name.
    for (const QJsonValue& link : json[u"links"].toArray()) {
        EXPECT_LT(link[u"from"].toInteger(), nodes.size());
        EXPECT_LT(link[u"to"].toInteger(), nodes.size());
        EXPECT_FALSE(link[u"kind"].toString().isEmpty());
    }
    EXPECT_EQ(json[u"program"].toString(), u"JavaScript");
    EXPECT_EQ(json[u"stats"][u"scripts"].toInt(), 1);
    EXPECT_FALSE(json[u"truncated"].toBool());
}

TEST(OutlineCommand, AnOversizedPageSaysSo)
{
    TempFolder temp;
    const QString page = temp.write(u"big.html"_s, "<body>" + QByteArray("<p>x</p>").repeated(3200));
    const Outcome run = korvane({ u"outline"_s, page });
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(
        run.out.contains("\nThe page is larger than the outline holds; what is shown stops partway.\n"));
}
