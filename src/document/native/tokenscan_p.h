#pragma once

// What the C-family and Rust scans share; not for use elsewhere.

#include "document/native/creader.h"
#include "document/native/nativetree.h"
#include "text/bytetext.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace CReader {

// What both tokenisers keep while they run: the text, the tokens so far, where they are and on which
// line.
class TokenWriter {
protected:
    using Kind = Token::Kind;

    explicit TokenWriter(QByteArrayView text)
        : m_text(text)
    {
        m_tokens.reserve(size_t(text.size())); // no token is shorter than a byte: it never grows
    }

    // A token on the current line.
    void push(Kind kind, qsizetype start, qsizetype end)
    {
        m_tokens.push_back({ kind, qint32(m_line), qint32(start), qint32(end) });
    }
    // Moves to `end`, counting the newlines passed.
    void advance(qsizetype end)
    {
        end = std::min(end, m_text.size());
        m_line += std::count(m_text.begin() + m_at, m_text.begin() + end, '\n');
        m_at = end;
    }
    // Past the word bytes from `from` on.
    qsizetype wordEnd(qsizetype from) const
    {
        while (from < m_text.size() && ByteText::isWordByte(m_text[from]))
            ++from;
        return from;
    }
    // Where `what` next occurs from `from` on, or the end of the text.
    qsizetype find(std::string_view what, qsizetype from) const
    {
        const size_t found = ByteText::view(m_text).find(what, size_t(from));
        return found == std::string_view::npos ? m_text.size() : qsizetype(found);
    }

    QByteArrayView m_text;
    std::vector<Token> m_tokens;
    qsizetype m_at = 0;
    qint64 m_line = 0;
};

// The names a function's body mentions, each once, written into its symbol as they are found.
struct BodyNames {
    explicit BodyNames(ScriptSymbol& symbol)
        : calls(symbol.calls)
        , methodCalls(symbol.methodCalls)
        , constructs(symbol.constructs)
        , passed(symbol.passed)
    {
    }
    // A call written after "::" may reach a namespace's or module's function as well as a member.
    void call(QByteArrayView name, bool member, bool qualified)
    {
        (member ? methodCalls : calls).add(name);
        if (qualified)
            calls.add(name);
    }

    ByteText::UniqueNames calls;
    ByteText::UniqueNames methodCalls;
    ByteText::UniqueNames constructs;
    ByteText::UniqueNames passed;
};

// A scan over the tokens of one source, their brackets paired: the questions both scans ask of
// tokens, and the symbol tree they fill up to the symbol limit.
class TokenScan {
public:
    NativeTree tree;
    std::vector<Include> includes;
    bool full = false; // the symbol limit was reached

    // The passes after reading, with the language's own way of marking handlers between attaching
    // methods to their records and linking passed functions; then the symbols built.
    Reading finish(bool textCut, void (*markHandlers)(NativeTree& tree));

protected:
    using Owner = std::optional<qsizetype>;

    // A name written a::b::c: its last word (-1 when there is no word at the start) and the token after it.
    struct QualifiedName {
        qsizetype last = -1;
        qsizetype end = 0;
    };

    TokenScan(QByteArrayView source, const std::vector<Token>& tokens);
    virtual ~TokenScan() = default;

    qsizetype add(NativeSymbol symbol, Owner owner);

    bool isWord(qsizetype i) const;
    bool isWord(qsizetype i, QByteArrayView word) const { return isWord(i) && text(i) == word; }
    bool isPunct(qsizetype i, QByteArrayView punct) const;
    QByteArrayView text(qsizetype i) const { return m_tokens[size_t(i)].text(m_source); }
    QByteArray text(qsizetype from, qsizetype through) const;
    // The bracket that closes the one at `open`, or `limit` when it closes beyond it or never.
    qsizetype closing(qsizetype open, qsizetype limit) const;
    // Past the ">" that closes the "<" at `open`, or at the first sign it was a comparison after all.
    qsizetype skipAngles(qsizetype open, qsizetype limit) const;
    // The "," or the `close` that ends the argument starting at `from`, past any brackets inside it.
    qsizetype argumentEnd(qsizetype from, qsizetype close) const;
    void span(ScriptSymbol& symbol, qsizetype from, qsizetype through) const;
    QualifiedName qualifiedName(qsizetype at, qsizetype limit) const;
    // The last word of a path a::b::c whose first word is at `at`.
    qsizetype lastOfPath(qsizetype at) const;

    // The name an argument between `from` and `to` hands over, in the language's own terms.
    virtual std::optional<QByteArrayView> passedName(qsizetype from, qsizetype to) const = 0;
    // The names handed over by the arguments in the brackets at `open`, each also added to `names`.
    QByteArrayList passedArguments(qsizetype open, qsizetype limit, BodyNames& names) const;

    QByteArrayView m_source;
    const std::vector<Token>& m_tokens;
    std::vector<qint32> m_match;
};

} // namespace CReader
