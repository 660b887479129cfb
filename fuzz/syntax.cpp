// Colours arbitrary lines in a language picked by the first byte, carrying what each line leaves
// open, and checks that the spans are in order, inside the line and never empty, that the quick
// carry agrees with the full one after every line, and that the view's carries, asked for lines in
// a scrambled order and with the text growing under them, agree with walking the lines in order.
#include "preview/syntax.h"
#include "model/language.h"
#include "preview/syntaxcarries.h"

#include <QByteArray>
#include <QByteArrayView>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

void checkSpans(QByteArrayView line, const std::vector<SyntaxSpan>& spans)
{
    // A trailing '\r' is not coloured, so no span may reach it.
    const qsizetype length = line.endsWith('\r') ? line.size() - 1 : line.size();
    qint64 end = 0;
    for (const SyntaxSpan& span : spans) {
        require(span.length > 0);
        require(span.start >= end);
        end = qint64(span.start) + span.length;
        require(end <= length);
        require(span.role != SyntaxRole::plain);
    }
}

void checkCarry(const SyntaxCarry& carry)
{
    require(carry.delimiterLength <= SyntaxCarry::delimiterCapacity);
}

// A permutation of 0..count-1 that depends on the input, from a small linear congruential walk.
std::vector<qint64> scrambled(qint64 count, quint32 seed)
{
    std::vector<qint64> order(static_cast<size_t>(count));
    for (qint64 i = 0; i < count; ++i)
        order[size_t(i)] = i;
    for (qint64 i = count - 1; i > 0; --i) {
        seed = seed * 1664525u + 1013904223u;
        std::swap(order[size_t(i)], order[size_t(seed % quint32(i + 1))]);
    }
    return order;
}

// Asks `carries` for each line in `order` and compares with the carries found in order. Past the
// longest walk the view may start afresh at a checkpoint, which is allowed to colour wrongly; a line
// that close to the start is always reached from a checkpoint walked in order.
void compare(
    SyntaxCarries& carries, const std::vector<qint64>& order, const std::vector<SyntaxCarry>& expected)
{
    const qint64 trusted = SyntaxCarries::longestWalk - SyntaxCarries::checkpointSpacing;
    for (const qint64 line : order) {
        const SyntaxCarry carry = carries.carryAt(line);
        checkCarry(carry);
        require(carries.lastWalk() >= 0 && carries.lastWalk() <= SyntaxCarries::longestWalk);
        const qint64 clamped = std::min<qint64>(line, qint64(expected.size()) - 1);
        if (clamped <= trusted)
            require(carry == expected[size_t(clamped)]);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    const QList<const Language*>& languages = Languages::all();
    const Syntax& syntax = Syntax::forLanguage(*languages[data[0] % languages.size()]);
    // Now and then the lines are repeated past the longest walk, so that the view's afresh starts and
    // far checkpoints are reached too.
    const bool repeated = data[1] == 0xff;
    const QByteArrayView text(reinterpret_cast<const char*>(data) + 2, qsizetype(size - 2));

    std::vector<QByteArrayView> lines;
    for (qsizetype from = 0;;) {
        const qsizetype end = text.indexOf('\n', from);
        lines.push_back(text.sliced(from, (end < 0 ? text.size() : end) - from));
        if (end < 0)
            break;
        from = end + 1;
    }
    if (repeated) {
        // Mostly blank, so that twenty thousand lines stay quick to colour, with the text's own lines
        // coming round again among them to open and close what they do.
        const size_t once = lines.size();
        const auto enough = size_t(SyntaxCarries::longestWalk + 3 * SyntaxCarries::checkpointSpacing);
        for (size_t next = 0; lines.size() < enough;)
            lines.push_back(lines.size() % 32 == 0 ? lines[next++ % once] : QByteArrayView(""));
    }
    const auto count = qint64(lines.size());

    // expected[i] is what line i starts with; expected[count] what the last line leaves.
    std::vector<SyntaxCarry> expected { SyntaxCarry {} };
    SyntaxCarry full, quick;
    std::vector<SyntaxSpan> spans, again;
    for (qint64 i = 0; i < count; ++i) {
        const QByteArrayView line = lines[size_t(i)];
        const SyntaxCarry before = full;
        syntax.colour(line, full, spans);
        checkSpans(line, spans);
        checkCarry(full);
        syntax.carryOver(line, quick);
        require(quick == full);
        // Colouring holds no state of its own: the same line from the same carry colours the same.
        if (!repeated || i < 64) {
            SyntaxCarry repeat = before;
            syntax.colour(line, repeat, again);
            require(again == spans && repeat == full);
        }
        if (syntax.isPlain())
            require(full == SyntaxCarry {});
        expected.push_back(full);
    }

    // The view may ask only for lines it has been told of.
    const auto linesUpTo = [&lines](const qint64& known) {
        return [&lines, &known](qint64 line) {
            require(line >= 0 && line < known);
            const QByteArrayView bytes = lines[size_t(line)];
            return QByteArray::fromRawData(bytes.data(), bytes.size());
        };
    };
    const quint32 seed = quint32(size) * 2654435761u ^ data[size - 1] ^ quint32(data[size / 2]) << 8;
    std::vector<qint64> order = scrambled(count + 1, seed);
    // Enough answers to cross checkpoints both ways and to step on from the last one, few enough to
    // keep the target quick: each answer may walk up to the longest walk.
    order.resize(std::min<size_t>(order.size(), repeated ? 8 : 96));
    // Then a few lines in a row, as a view scrolls, and past the end, which starts with the last
    // line's carry.
    for (qint64 line = order.front(); line <= std::min(count, order.front() + 8); ++line)
        order.push_back(line);
    order.push_back(count + 3);
    SyntaxCarries carries(syntax, linesUpTo(count), count);
    compare(carries, order, expected);

    // A text whose count is still growing: the first half, then all of it, keeping what was walked.
    if (repeated)
        return 0;
    qint64 known = count / 2;
    SyntaxCarries growing(syntax, linesUpTo(known), known);
    std::vector<qint64> firstHalf;
    for (const qint64 line : order) {
        if (line <= count / 2)
            firstHalf.push_back(line);
    }
    compare(growing, firstHalf, std::vector<SyntaxCarry>(expected.begin(), expected.begin() + count / 2 + 1));
    known = count;
    growing.grow(count);
    compare(growing, order, expected);
    return 0;
}
