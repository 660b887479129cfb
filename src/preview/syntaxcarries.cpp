#include "preview/syntaxcarries.h"

#include <algorithm>

SyntaxCarries::SyntaxCarries(const Syntax& syntax, Lines lines, qint64 lineCount)
    : m_syntax(&syntax)
    , m_lines(std::move(lines))
{
    invalidate(lineCount);
}

void SyntaxCarries::invalidate(qint64 lineCount)
{
    m_lineCount = std::max<qint64>(lineCount, 0);
    m_checkpoints.assign(size_t(m_lineCount / checkpointSpacing + 1), {});
    m_checkpoints[0] = { SyntaxCarry {}, true };
    m_lastLine = -1;
    m_lastCarry = {};
    m_lastWalk = 0;
}

void SyntaxCarries::grow(qint64 lineCount)
{
    if (lineCount <= m_lineCount)
        return;
    m_lineCount = lineCount;
    m_checkpoints.resize(size_t(m_lineCount / checkpointSpacing + 1));
}

void SyntaxCarries::remember(qint64 line, const SyntaxCarry& carry)
{
    if (line % checkpointSpacing == 0) {
        Checkpoint& checkpoint = m_checkpoints[size_t(line / checkpointSpacing)];
        if (!checkpoint.known)
            checkpoint = { carry, true };
    }
}

SyntaxCarry SyntaxCarries::carryAt(qint64 line)
{
    m_lastWalk = 0;
    if (m_syntax->isPlain())
        return {};
    line = std::clamp<qint64>(line, 0, m_lineCount);

    // Start from the nearest point known at or above the line: the last answer, or a checkpoint no
    // further than the longest walk.
    qint64 from = -1;
    SyntaxCarry carry;
    const qint64 nearest = line / checkpointSpacing;
    for (qint64 k = nearest; k >= 0 && line - k * checkpointSpacing <= longestWalk; --k) {
        if (m_checkpoints[size_t(k)].known) {
            from = k * checkpointSpacing;
            carry = m_checkpoints[size_t(k)].carry;
            break;
        }
    }
    if (m_lastLine >= 0 && m_lastLine <= line && m_lastLine > from && line - m_lastLine <= longestWalk) {
        from = m_lastLine;
        carry = m_lastCarry;
    }
    if (from < 0) {
        // Too far from anything known: begin afresh at the checkpoint before the line.
        from = nearest * checkpointSpacing;
        carry = {};
        remember(from, carry);
    }

    for (qint64 at = from; at < line; ++at) {
        remember(at, carry);
        m_syntax->carryOver(m_lines(at), carry);
    }
    remember(line, carry);
    m_lastWalk = line - from;
    m_lastLine = line;
    m_lastCarry = carry;
    return carry;
}
