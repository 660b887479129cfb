#pragma once

#include "preview/syntaxscanner.h"

#include <array>

// The scanner of the C-like languages, one object a line: brace languages from C to Zig, with the
// literals and marks each adds of its own (raw strings, lifetimes, annotations, directives).
class CLikeScanner : LineScanner {
public:
    using LineScanner::LineScanner;

    void run(qsizetype i);

private:
    // The code of the line from `i` on.
    void code(qsizetype i, qsizetype firstCode);
    // Finishes what the line before left open; returns where code starts.
    qsizetype resume(qsizetype i);
    void setValueBefore(bool value);
    // Past a literal, which is a value: returns `next`. One left open ends the line, where nothing
    // after it asks.
    qsizetype afterValue(qsizetype next)
    {
        setValueBefore(true);
        return next;
    }
    // Whether the byte before `i` ends a value, so that ".5" there is a member or a range ("t.0",
    // "1..2"), not a fraction.
    bool follows(qsizetype i) const;

    // Comments and strings, which may go on over lines. Each takes where its span starts and where
    // its body does, and returns where code goes on.
    qsizetype comment(qsizetype start, qsizetype i) // m_carry.depth levels open
    {
        return blockComment(start, i, '/', '*', '/', m_rules.has(SyntaxFeature::nestedComments));
    }
    qsizetype quoted(qsizetype start, qsizetype i, char quote);
    qsizetype triple(qsizetype start, qsizetype i, char quote);
    qsizetype raw(qsizetype start, qsizetype bodyAt, std::string_view closer);
    qsizetype verbatim(qsizetype start, qsizetype quoteAt);
    // A string whose opening quote is at `quoteAt`, coloured from `start` (a prefix such as u8 or @).
    qsizetype doubleQuote(qsizetype start, qsizetype quoteAt);
    qsizetype singleQuote(qsizetype i);
    qsizetype backtick(qsizetype i);

    // The text of a template string, to its closing backtick or into a ${…}, whose code the main
    // loop then reads until the '}' that closes it.
    qsizetype templateText(qsizetype start, qsizetype i);
    qsizetype closeBrace(qsizetype i);
    void loadTemplateLevels();
    void storeTemplateLevels();

    // Marks, each from the byte at `i` that starts it.
    qsizetype hash(qsizetype i, bool firstOnLine);
    qsizetype bracketed(qsizetype i); // an attribute such as #[derive(Debug)], to its bracket
    qsizetype at(qsizetype i);
    qsizetype dollar(qsizetype i);
    qsizetype phpTag(qsizetype i);
    // Division, or a regular expression where a value is due.
    qsizetype slash(qsizetype i);
    qsizetype number(qsizetype i);
    qsizetype word(qsizetype i);
    // A string with a prefix (u8"", R"x()x", r#""#, b'a'), or -1 when the word is no such prefix.
    qsizetype stringPrefix(qsizetype i, qsizetype end, std::string_view prefix);
    qsizetype charAfterPrefix(qsizetype i, qsizetype quoteAt);
    qsizetype cppRaw(qsizetype i, qsizetype quoteAt);

    // What came last was a value, so '/' divides; unless it was a word such as "return".
    bool m_valueBefore = false;
    std::string_view m_lastWord;
    bool m_noRegex = false;
    // The ${…} expressions open around the scanner, innermost last, each with its own brace depth.
    std::array<quint8, SyntaxCarry::delimiterCapacity> m_levels {};
    int m_levelCount = 0;
};
