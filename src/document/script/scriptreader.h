#pragma once

#include "document/scriptsymbol.h"

#include <QByteArrayView>

#include <vector>

// Reads JavaScript and TypeScript into a tree of ScriptSymbols. Not a parser of the language: a
// tolerant tokenizer, brackets matched once, and a keyword-driven scan that finds declarations and
// passes over everything else. Never fails; odd text only makes it find less.
namespace ScriptReader {

// Texts of this many characters or more give no symbols: a bundle that large is not read by hand.
inline constexpr qsizetype characterLimit = 4'194'304;
// At most this many symbols are kept, the top levels first.
inline constexpr qsizetype symbolBudget = 1500;
// Declarations nest at most this deep (0 is the top level), so deeply nested code stays cheap.
inline constexpr int depthLimit = 6;

// Eight bytes a token, so a multi-megabyte bundle stays a few times its size in memory.
class Token {
public:
    enum class Kind : quint8 { word, punct, string, templateLiteral, number, regex };

    Token(qsizetype start, qsizetype end, Kind kind)
        : m_start(quint32(start))
        , m_length(quint32(end - start))
        , m_kind(quint32(kind))
    {
    }
    Kind kind() const { return Kind(m_kind); }
    qsizetype start() const { return m_start; }
    qsizetype end() const { return qsizetype(m_start) + m_length; }
    QByteArrayView text(QByteArrayView source) const { return source.sliced(start(), m_length); }

private:
    quint32 m_start;
    quint32 m_length : 29;
    quint32 m_kind : 3;
};

struct Reading {
    std::vector<ScriptSymbol> symbols; // the top level, each with its children
    bool truncated = false; // symbols were dropped, or the text was too long to read
};

Reading read(QByteArrayView utf8);

// The passes of `read`, open for tests. Texts must be under 512 MiB.
std::vector<Token> tokenize(QByteArrayView utf8);
// For every token: an opening bracket's closing partner (the token count when it is never closed),
// a closing bracket's opening partner (-1 for a stray one), -1 for any other token.
std::vector<qint32> brackets(const std::vector<Token>& tokens, QByteArrayView utf8);

QString tokenKindName(Token::Kind kind);

} // namespace ScriptReader
