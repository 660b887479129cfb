#include "document/native/cparser_p.h"

#include "text/bytetext.h"

namespace CReader {

namespace {

using Kind = Token::Kind;

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
    qsizetype last = -1;
    while (k < to && isWord(k)) {
        last = k++;
        if (k < to && isPunct(k, "::"))
            ++k;
        else
            break;
    }
    if (last < 0 || k != to)
        return std::nullopt;
    return text(last);
}

// What a body calls, constructs and hands over, and which calls hand over what.
void Parser::fill(qsizetype open, qsizetype close, NativeSymbol& function) const
{
    ScriptSymbol& symbol = function.symbol;
    ByteText::UniqueNames calls(symbol.calls);
    ByteText::UniqueNames methodCalls(symbol.methodCalls);
    ByteText::UniqueNames constructs(symbol.constructs);
    ByteText::UniqueNames passed(symbol.passed);
    qsizetype constructed = -1;
    for (qsizetype i = open + 1; i < close; ++i) {
        if (!isWord(i))
            continue;
        const QByteArrayView word = text(i);
        if (word == "new" || ((word == "make_unique" || word == "make_shared") && isPunct(i + 1, "<"))) {
            qsizetype k = word == "new" ? i + 1 : i + 2;
            if (word == "new" && isPunct(k, "("))
                k = closing(k, close) + 1; // placement arguments
            qsizetype last = -1;
            while (isWord(k) && k < close) {
                last = k++;
                if (!isPunct(k, "::"))
                    break;
                ++k;
            }
            if (last >= 0) {
                constructs.add(text(last));
                constructed = last;
            }
            continue;
        }
        if (!isPunct(i + 1, "(") || i == constructed || isControl(word))
            continue;
        const bool member = isPunct(i - 1, ".") || isPunct(i - 1, "->") || isPunct(i - 1, "::");
        (member ? methodCalls : calls).add(word);
        if (isPunct(i - 1, "::"))
            calls.add(word); // ns::name( may be a namespace's function as well as a static member
        const qsizetype argumentsClose = closing(i + 1, close);
        QByteArrayList names;
        for (qsizetype k = i + 2; k < argumentsClose;) {
            const qsizetype end = argumentEnd(k, argumentsClose);
            if (const std::optional<QByteArrayView> name = passedName(k, end)) {
                names.append(name->toByteArray());
                passed.add(*name);
            }
            k = end + 1;
        }
        if (names.isEmpty())
            continue;
        // Only calls that register are kept: a body may hold a hundred thousand calls.
        if (!NativeHandlers::registers(word).isEmpty())
            function.registrations.push_back({ word.toByteArray(), names });
        // std::thread worker(run): the type of a variable made with arguments registers too.
        if (!member && isWord(i - 1) && !NativeHandlers::registers(text(i - 1)).isEmpty()
            && !among(text(i - 1), { "return", "else", "case", "throw", "goto", "co_return" }))
            function.registrations.push_back({ text(i - 1).toByteArray(), names });
    }
}

} // namespace CReader
