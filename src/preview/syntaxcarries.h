#pragma once

#include "preview/syntax.h"

#include <functional>
#include <vector>

// What each line of a text starts with, for colouring the lines a view shows without colouring
// everything above them every time. It keeps the carry of every 256th line once it has walked past
// it, so scrolling back and forth costs a few hundred lines at most. To stay quick in a huge file it
// never walks more than about 20,000 lines to reach one: past that it starts afresh at the
// checkpoint before the line, as though nothing were open there, which may colour one construct
// wrongly until the next line that closes it.
//
// For one thread at a time (the view's).
class SyntaxCarries {
public:
    // A line of the text without its line break; the view must stay valid until the next call.
    using Lines = std::function<QByteArray(qint64 line)>;

    static constexpr qint64 checkpointSpacing = 256;
    static constexpr qint64 longestWalk = 20000;

    SyntaxCarries(const Syntax& syntax, Lines lines, qint64 lineCount);

    // The carry line `line` (0-based) starts with; lines past the end start with the last one's.
    SyntaxCarry carryAt(qint64 line);
    // The text changed: forgets everything walked.
    void invalidate(qint64 lineCount);
    // More lines of the same text are known, as while a large file is counted: keeps what was walked.
    void grow(qint64 lineCount);

    qint64 lineCount() const { return m_lineCount; }
    // How many lines the last carryAt() coloured to answer.
    qint64 lastWalk() const { return m_lastWalk; }

private:
    struct Checkpoint {
        SyntaxCarry carry;
        bool known = false;
    };

    void remember(qint64 line, const SyntaxCarry& carry);

    const Syntax* m_syntax;
    Lines m_lines;
    qint64 m_lineCount = 0;
    std::vector<Checkpoint> m_checkpoints; // the carry of line k × checkpointSpacing
    // The last answer, from which the next line down is one step away.
    qint64 m_lastLine = -1;
    SyntaxCarry m_lastCarry;
    qint64 m_lastWalk = 0;
};
