#pragma once

// What the C-family and Rust scans share; not for use elsewhere.

#include "document/native/creader.h"
#include "document/native/nativetree.h"

#include <optional>

namespace CReader {

// A scan over the tokens of one source, their brackets paired: the questions both scans ask of
// tokens, and the symbol tree they fill up to the symbol limit.
class TokenScan {
public:
    NativeTree tree;
    std::vector<Include> includes;
    bool full = false; // the symbol limit was reached

protected:
    using Owner = std::optional<qsizetype>;

    TokenScan(QByteArrayView source, const std::vector<Token>& tokens);

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

    QByteArrayView m_source;
    const std::vector<Token>& m_tokens;
    std::vector<qint32> m_match;
};

} // namespace CReader
