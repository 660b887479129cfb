#include "document/native/rustparser_p.h"

#include "text/bytetext.h"

// What a Rust function's body calls, constructs and hands over, and which calls register what.

namespace RustReader {

namespace {

using ByteText::among;

} // namespace

std::optional<QByteArrayView> Parser::passedName(qsizetype from, qsizetype to) const
{
    qsizetype k = from;
    if (isWord(k, "move"))
        ++k;
    if (isPunct(k, "|")) {
        // A closure whose body starts with a call hands over the function it calls.
        qsizetype bar = k + 1;
        while (bar < to && !isPunct(bar, "|"))
            ++bar;
        k = bar + 1;
        if (isPunct(k, "{"))
            ++k;
        const QualifiedName called = qualifiedName(k, to);
        return called.last >= 0 && isPunct(called.end, "(") ? std::optional(text(called.last)) : std::nullopt;
    }
    if (isPunct(k, "&"))
        ++k;
    const QualifiedName name = qualifiedName(k, to);
    if (name.last < 0 || name.end != to)
        return std::nullopt;
    return text(name.last);
}

void Parser::fill(qsizetype open, qsizetype close, NativeSymbol& function) const
{
    BodyNames names(function.symbol);
    for (qsizetype i = open + 1; i < close; ++i) {
        if (!isWord(i))
            continue;
        const QByteArrayView word = text(i);
        const bool macro
            = isPunct(i + 1, "!") && (isPunct(i + 2, "(") || isPunct(i + 2, "[") || isPunct(i + 2, "{"));
        qsizetype arguments = macro ? i + 2 : i + 1;
        if (isPunct(arguments, "::") && isPunct(arguments + 1, "<"))
            arguments = skipAngles(arguments + 1, close); // turbofish: collect::<Vec<_>>()
        if (!isPunct(arguments, "(") && !macro)
            continue;
        if (among(word,
                { "if", "while", "match", "for", "return", "loop", "fn", "in", "as", "let", "mut", "ref",
                    "move", "where", "unsafe", "async", "await", "impl", "dyn" }))
            continue;
        names.call(word, isPunct(i - 1, ".") || isPunct(i - 1, "::"), isPunct(i - 1, "::"));
        // Type::new(…) and its kin make a Type.
        if (isPunct(i - 1, "::") && isWord(i - 2) && !text(i - 2).isEmpty() && text(i - 2).front() >= 'A'
            && text(i - 2).front() <= 'Z'
            && (among(word, { "new", "default", "from" }) || word.startsWith("with_")))
            names.constructs.add(text(i - 2));
        const QByteArrayList passed = passedArguments(arguments, close, names);
        if (!passed.isEmpty() && !registers(word).isEmpty()) // only calls that register are kept
            function.registrations.push_back({ word.toByteArray(), passed });
    }
}

} // namespace RustReader
