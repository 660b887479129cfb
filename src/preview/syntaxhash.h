#pragma once

#include "preview/syntaxscanner.h"

#include <string>

// Where a shell word may start or end: a keyword glued to other characters ("--for", "a-if") is none.
inline bool isShellBreak(char c)
{
    return SyntaxScan::isBlank(c) || c == ';' || c == '&' || c == '|' || c == '(' || c == ')' || c == '`';
}

// The scanner of the languages whose comments start with '#', from Python and the shells to
// Dockerfiles, one object a line. Most of them differ in what else a '#', a quote or a '$' means.
class HashScanner : LineScanner {
public:
    using LineScanner::LineScanner;

    void run(qsizetype i);

private:
    // Finishes what the line before left open; returns where code starts.
    qsizetype resume(qsizetype i);
    // Constructs that only a line's start opens.
    qsizetype lineHead(qsizetype i);

    // Comments and strings, which may go on over lines. Each returns where code goes on.
    bool commentStarts(qsizetype i) const;
    qsizetype comment(qsizetype i);
    qsizetype commentBlock(qsizetype start, qsizetype i);
    qsizetype quote(qsizetype i);
    // Perl's and Ruby's patterns and quote-like operators (/…/, m{…}, s/…/…/): `parts` delimited
    // parts from the delimiter at `at`, coloured from `start`.
    qsizetype quoteLike(qsizetype start, qsizetype at, int parts);

    // Marks, each from the byte at `i` that starts it.
    qsizetype word(qsizetype i);
    qsizetype number(qsizetype i);
    qsizetype variable(qsizetype i);
    qsizetype at(qsizetype i);
    qsizetype angle(qsizetype i);
    qsizetype slash(qsizetype i);
    qsizetype symbol(qsizetype i);
    qsizetype dash(qsizetype i);
    qsizetype backslash(qsizetype i);

    qsizetype m_lineStart = -1; // the first byte of code, when the line did not start inside something
    bool m_commandStart = true; // Tcl: only blanks since the line's start or the last ';'
    bool m_valueDue = true; // Perl, Ruby: no value just before, so '/' starts a pattern
    bool m_noPattern = false; // a pattern found no end on this line, and later ones will not either
    bool m_heredocPending = false; // a here-document opens after this line
    std::string m_heredoc; // the word it ends at
    bool m_heredocIndented = false;
};
