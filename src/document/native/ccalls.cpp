#include "document/native/cparser_p.h"

#include "text/bytetext.h"

// What a C-family function's body calls, constructs and hands over, and which calls register what.

namespace CReader {

namespace {

using ByteText::among;

} // namespace

std::optional<QByteArrayView> Parser::passedName(qsizetype from, qsizetype to) const
{
    qsizetype k = from;
    for (;;) {
        if (isPunct(k, "&") || isPunct(k, "*"))
            ++k;
        else if (isPunct(k, "(") && closing(k, to) + 1 < to)
            k = closing(k, to) + 1; // a cast
        else if (isWord(k) && text(k).endsWith("_cast") && isPunct(k + 1, "<"))
            return isPunct(skipAngles(k + 1, to), "(") ? passedName(skipAngles(k + 1, to) + 1, to - 1)
                                                       : std::nullopt;
        else
            break;
    }
    const QualifiedName name = qualifiedName(k, to);
    if (name.last < 0 || name.end != to)
        return std::nullopt;
    return text(name.last);
}

// What a body calls, constructs and hands over, and which calls hand over what.
void Parser::fill(qsizetype open, qsizetype close, NativeSymbol& function) const
{
    BodyNames names(function.symbol);
    qsizetype constructed = -1;
    for (qsizetype i = open + 1; i < close; ++i) {
        if (!isWord(i))
            continue;
        const QByteArrayView word = text(i);
        if (word == "new" || ((word == "make_unique" || word == "make_shared") && isPunct(i + 1, "<"))) {
            qsizetype k = word == "new" ? i + 1 : i + 2;
            if (word == "new" && isPunct(k, "("))
                k = closing(k, close) + 1; // placement arguments
            if (const qsizetype last = qualifiedName(k, close).last; last >= 0) {
                names.constructs.add(text(last));
                constructed = last;
            }
            continue;
        }
        if (!isPunct(i + 1, "(") || i == constructed || isControl(word))
            continue;
        const bool member = isPunct(i - 1, ".") || isPunct(i - 1, "->") || isPunct(i - 1, "::");
        names.call(word, member, isPunct(i - 1, "::"));
        const QByteArrayList passed = passedArguments(i + 1, close, names);
        if (passed.isEmpty())
            continue;
        // Only calls that register are kept: a body may hold a hundred thousand calls.
        if (!NativeHandlers::registers(word).isEmpty())
            function.registrations.push_back({ word.toByteArray(), passed });
        // std::thread worker(run): the type of a variable made with arguments registers too.
        if (!member && isWord(i - 1) && !NativeHandlers::registers(text(i - 1)).isEmpty()
            && !among(text(i - 1), { "return", "else", "case", "throw", "goto", "co_return" }))
            function.registrations.push_back({ text(i - 1).toByteArray(), passed });
    }
}

} // namespace CReader
