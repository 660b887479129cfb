#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

using namespace Qt::StringLiterals;

class OutlineGolden : public testing::TestWithParam<GoldenCase> { };

TEST_P(OutlineGolden, PrintsWhatTheExpectedFileHolds)
{
    expectCommandGolden(u"outline"_s, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Files, OutlineGolden,
    testing::Values(GoldenCase { "shop_html", "structure/shop.html", "", "structure/shop.html.expected" },
        GoldenCase { "newsletter_htm", "structure/newsletter.htm", "", "structure/newsletter.htm.expected" },
        GoldenCase { "theme_css", "structure/theme.css", "", "structure/theme.css.expected" },
        GoldenCase {
            "components_scss", "structure/components.scss", "", "structure/components.scss.expected" },
        GoldenCase { "menu_js", "structure/menu.js", "", "structure/menu.js.expected" },
        GoldenCase { "store_ts", "structure/store.ts", "", "structure/store.ts.expected" },
        GoldenCase { "flowmeter_ino", "structure/flowmeter.ino", "", "structure/flowmeter.ino.expected" },
        GoldenCase { "geometry_hpp", "structure/geometry.hpp", "", "structure/geometry.hpp.expected" },
        GoldenCase { "ringbuffer_c", "structure/ringbuffer.c", "", "structure/ringbuffer.c.expected" },
        GoldenCase { "server_cpp", "structure/server.cpp", "", "structure/server.cpp.expected" },
        GoldenCase { "service_rs", "structure/service.rs", "", "structure/service.rs.expected" },
        // One whole document as JSON, the richest: every reader writes through the same code.
        GoldenCase { "flowmeter_ino_json", "structure/flowmeter.ino", "--json",
            "structure/flowmeter.ino.json.expected" }),
    rowName);

TEST(OutlineCommand, JsonIsTheWholeDocument)
{
    const Outcome run = korvane({ u"outline"_s, dataPath(u"structure/shop.html"_s), u"--json"_s });
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
    EXPECT_EQ(json[u"program"].toString(), u"HTML");
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
