// The legend over the scene, as a widget: its rows fold and unfold under a real click.

#include "ui/panels.h"

#include <QApplication>
#include <QMouseEvent>

#include <gtest/gtest.h>

namespace {

QList<LegendEntry> entries(int count)
{
    QList<LegendEntry> list;
    for (int i = 0; i < count; ++i)
        list.append({ QString::number(i), QStringLiteral("Language %1").arg(i),
            QColor::fromHsv(i * 20, 120, 200), 100 - i, {}, {} });
    return list;
}

void click(QWidget& widget, QPoint at)
{
    QMouseEvent press(
        QEvent::MouseButtonPress, at, widget.mapToGlobal(at), Qt::LeftButton, Qt::LeftButton, {});
    QCoreApplication::sendEvent(&widget, &press);
}

// How many rows the legend is tall, past its padding.
int rows(const Legend& legend)
{
    return (legend.height() - 12) / 18;
}

} // namespace

struct FoldCase {
    const char* name;
    int entries;
    int folded; // rows shown at first: the header, the keys and any fold
    int unfolded; // rows once the fold is clicked
};

void PrintTo(const FoldCase& c, std::ostream* os)
{
    *os << c.name;
}

class LegendFold : public testing::TestWithParam<FoldCase> { };

TEST_P(LegendFold, ListsTheRestOnAClickOnTheFold)
{
    const FoldCase& c = GetParam();
    Legend legend;
    int resized = 0;
    QObject::connect(&legend, &Legend::resized, [&] { ++resized; });
    legend.setEntries(entries(c.entries), {}, Theme::darkPalette());
    legend.grab(); // paints it, which places the fold's row
    EXPECT_EQ(rows(legend), c.folded);

    // The fold is the last row; a click anywhere else leaves the legend as it is.
    click(legend, QPoint(40, 12));
    EXPECT_EQ(rows(legend), c.folded);
    click(legend, QPoint(40, legend.height() - 6 - 9));
    EXPECT_EQ(rows(legend), c.unfolded);
    EXPECT_EQ(resized, c.folded == c.unfolded ? 0 : 1);

    // New keys keep the choice; a second click folds them again.
    legend.setEntries(entries(c.entries), {}, Theme::darkPalette());
    EXPECT_EQ(rows(legend), c.unfolded);
    legend.grab();
    click(legend, QPoint(40, legend.height() - 6 - 9));
    EXPECT_EQ(rows(legend), c.folded);
}

INSTANTIATE_TEST_SUITE_P(Keys, LegendFold,
    testing::Values(FoldCase { "eightAreAllListed", 8, 1 + 8, 1 + 8 },
        // One key alone is listed rather than hidden behind "1 more".
        FoldCase { "nineAreAllListed", 9, 1 + 9, 1 + 9 },
        FoldCase { "twelveFoldAfterEight", 12, 1 + 8 + 1, 1 + 12 + 1 },
        FoldCase { "aLongListUnfoldsToThirty", 45, 1 + 8 + 1, 1 + 30 + 1 }),
    [](const testing::TestParamInfo<FoldCase>& info) { return std::string(info.param.name); });

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
