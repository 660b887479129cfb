#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QByteArrayView>
#include <QString>

#include <vector>

// One rule of a stylesheet: an ordinary rule with its selector, or an at-rule with the rules nested
// in it, with the custom properties it defines and uses and the animations it names.
struct StyleRule {
    enum class Kind { rule, media, keyframes, supports, atRule, statement };

    Kind kind = Kind::rule;
    QByteArray name; // the selector or prelude, white space collapsed, shortened
    QByteArray detail; // "3 declarations", "2 rules"
    qint64 line = 0; // 0-based
    qint64 endLine = 0;
    qint64 start = 0; // byte offsets of the prelude's start and of the end of the block
    qint64 end = 0;
    std::vector<StyleRule> children;
    qint64 declarations = 0;
    QByteArrayList defines; // "--name"
    QByteArrayList uses; // "--name", read through var()
    QByteArrayList animations;
    QByteArrayList targets; // "#id", ".class" and tag names the selector names
};

QString styleRuleKindName(StyleRule::Kind kind);

// Reads CSS, SCSS and Less into rules. A tolerant character scanner: unbalanced braces end a block
// with the text, and an unterminated comment or string runs to the end.
namespace StyleReader {

inline constexpr qsizetype characterLimit = 4'194'304;
inline constexpr qsizetype ruleBudget = 1500;
// At-rules nested deeper than this are passed over whole.
inline constexpr int depthLimit = 16;

struct Reading {
    std::vector<StyleRule> rules; // the top level, each with its children
    bool truncated = false;
};

Reading read(QByteArrayView utf8);

// The ids, classes and tags a selector names, each once; pseudo-classes and attribute selectors
// give none.
QByteArrayList targets(QByteArrayView selector);

} // namespace StyleReader
