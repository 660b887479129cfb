#pragma once

#include <QColor>

// The two palettes every view draws with. Paper and wash are backgrounds, the inks are text from
// strong to faint, rules are hairlines; the stones, tarmac and pavement are the city's ground, the
// tints and shadow light it, and floorLine marks the storeys on the walls.
struct Theme {
    bool dark = true;
    QColor paper;
    QColor wash;
    QColor ink;
    QColor ink2;
    QColor ink3;
    QColor rule;
    QColor ruleStrong;
    QColor accent;
    QColor mark;
    QColor tarmac;
    QColor pavement;
    QColor stoneLit;
    QColor stoneMid;
    QColor stoneDark;
    QColor sunTint;
    QColor shadeTint;
    QColor shadow;
    QColor floorLine;

    static const Theme& darkPalette();
    static const Theme& lightPalette();
    static const Theme& of(bool dark) { return dark ? darkPalette() : lightPalette(); }

    bool operator==(const Theme& other) const = default;
};
