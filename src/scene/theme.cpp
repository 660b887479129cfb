#include "scene/theme.h"

namespace {

QColor withAlpha(QColor color, float alpha)
{
    color.setAlphaF(alpha);
    return color;
}

} // namespace

const Theme& Theme::darkPalette()
{
    static const Theme theme {
        .dark = true,
        .paper = QColor(14, 14, 14),
        .wash = QColor(23, 23, 23),
        .ink = QColor(239, 238, 236),
        .ink2 = QColor(180, 178, 174),
        .ink3 = QColor(133, 131, 127),
        .rule = QColor(38, 38, 38),
        .ruleStrong = QColor(61, 61, 61),
        .accent = QColor(255, 79, 50),
        .mark = QColor(240, 180, 60),
        .tarmac = QColor(20, 23, 28),
        .pavement = QColor(26, 30, 36),
        .stoneLit = QColor(57, 65, 76),
        .stoneMid = QColor(43, 50, 59),
        .stoneDark = QColor(32, 38, 45),
        .sunTint = QColor(125, 106, 79),
        .shadeTint = QColor(11, 14, 18),
        .shadow = QColor(13, 16, 19),
        .floorLine = withAlpha(QColor(255, 255, 255), 0.06f),
    };
    return theme;
}

const Theme& Theme::lightPalette()
{
    static const Theme theme {
        .dark = false,
        .paper = QColor(255, 255, 255),
        .wash = QColor(247, 247, 247),
        .ink = QColor(17, 17, 17),
        .ink2 = QColor(68, 68, 68),
        .ink3 = QColor(119, 119, 119),
        .rule = QColor(228, 228, 228),
        .ruleStrong = QColor(188, 188, 188),
        .accent = QColor(232, 32, 13),
        .mark = QColor(192, 124, 5),
        .tarmac = QColor(185, 191, 192),
        .pavement = QColor(211, 215, 213),
        .stoneLit = QColor(253, 252, 249),
        .stoneMid = QColor(230, 227, 221),
        .stoneDark = QColor(170, 178, 189),
        .sunTint = QColor(255, 254, 248),
        .shadeTint = QColor(93, 107, 128),
        .shadow = QColor(155, 164, 176),
        .floorLine = withAlpha(QColor(56, 70, 92), 0.14f),
    };
    return theme;
}
