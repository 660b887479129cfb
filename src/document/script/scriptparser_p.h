#pragma once

// The declaration scan behind ScriptReader; not for use elsewhere.

#include "document/script/scriptreader.h"
#include "text/bytetext.h"

#include <QHash>

#include <memory>
#include <optional>
#include <unordered_map>

namespace ScriptReader {

// What a handler or class carries beyond the common fields.
struct Extra {
    QByteArray name; // when no token names it: a handler, a computed member name
    QByteArray detail;
    QByteArray base;
    QByteArray tag;
    QByteArray event;
    QByteArrayList selectors;
    QByteArrayList passed;
};

// A declaration as the scan finds it: token positions only, so that a bundle of a hundred thousand
// declarations costs little. The few kept after trimming become ScriptSymbols.
struct Found {
    enum class Detail : quint8 { none, tokens, arrow, value, extends, members, extra };

    ScriptSymbol::Kind kind = ScriptSymbol::Kind::function;
    Detail detail = Detail::none;
    bool kept = true;
    qint32 first = 0; // first and last token of the declaration
    qint32 last = 0;
    qint32 bodyFrom = 0; // the tokens whose references belong to it, inclusive
    qint32 bodyTo = -1;
    qint32 nameToken = -1; // the token that names it; without one, the extra's name or "anonymous"
    qint32 detailFrom = 0;
    qint32 detailTo = -1;
    std::unique_ptr<Extra> extra;
    std::vector<Found> children;

    Extra& more()
    {
        if (!extra)
            extra = std::make_unique<Extra>();
        return *extra;
    }
};

class Parser {
public:
    Parser(QByteArrayView source, const std::vector<Token>& tokens, const std::vector<qint32>& match);

    // Stops once `enough` declarations are found at this level.
    std::vector<Found> parse(qsizetype from, qsizetype to, int depth, size_t enough = SIZE_MAX);
    ScriptSymbol symbol(const Found& found) const;

private:
    struct Parsed {
        Found found;
        qsizetype next;
    };
    // What an event listener's receiver turned out to be.
    struct Receiver {
        QByteArrayList selectors;
        QByteArray tag;
        QByteArray description;
    };

    std::optional<Parsed> declaration(qsizetype at, qsizetype limit, int depth);
    std::optional<Parsed> function(qsizetype from, qsizetype at, qsizetype limit, int depth);
    std::optional<Parsed> klass(qsizetype from, qsizetype at, qsizetype limit, int depth);
    // A name given a value; the value starts just after "=" unless `valueAt` says where.
    std::optional<Parsed> assignment(
        qsizetype from, qsizetype at, qsizetype limit, int depth, bool declared, qsizetype valueAt = -1);
    // A function, arrow, class or object; else, when `plain`, the expression as a variable.
    std::optional<Parsed> value(qsizetype from, qsizetype at, qsizetype limit, int depth, bool plain = true);
    std::optional<Parsed> arrow(qsizetype from, qsizetype at, qsizetype limit, int depth);
    std::optional<Parsed> object(qsizetype from, qsizetype at, qsizetype limit, int depth);
    std::optional<Parsed> listener(qsizetype at, qsizetype limit, int depth);
    enum class MemberSyntax { classBody, objectLiteral };
    // A member's name: the token that names it, or the text of a computed or private name.
    struct MemberName {
        qsizetype at = -1;
        QByteArray text;
        void give(Found& member) const;
    };
    std::vector<Found> members(qsizetype open, qsizetype close, int depth, MemberSyntax syntax);
    qsizetype memberModifiers(qsizetype j, ScriptSymbol::Kind& kind, MemberSyntax syntax) const;
    bool memberName(qsizetype& j, qsizetype close, MemberSyntax syntax, MemberName& name) const;
    qsizetype classMember(qsizetype start, qsizetype j, qsizetype close, int depth, ScriptSymbol::Kind kind,
        const MemberName& name, std::vector<Found>& found);
    qsizetype objectMember(qsizetype start, qsizetype j, qsizetype close, int depth, ScriptSymbol::Kind kind,
        const MemberName& name, std::vector<Found>& found);
    std::optional<Parsed> method(qsizetype from, qsizetype nameAt, qsizetype paren, qsizetype limit,
        int depth, ScriptSymbol::Kind kind);
    Receiver element(qsizetype before);
    std::optional<QByteArray> queried(qsizetype word) const;

    void collect(ScriptSymbol& symbol, const Found& found) const;

    // Token tests that are false past the end.
    bool isWord(qsizetype i) const;
    bool isWord(qsizetype i, QByteArrayView text) const;
    bool isPunct(qsizetype i, char c) const;
    bool isOpener(qsizetype i) const;
    // Whether a token lies in a list of type parameters: interface Options<A = B, C = D>.
    bool inTypeParameters(qsizetype at) const;
    bool isCloser(qsizetype i) const;
    QByteArrayView text(qsizetype i) const { return m_tokens[size_t(i)].text(m_source); }
    QByteArray text(qsizetype from, qsizetype through) const;
    qsizetype closing(qsizetype open, qsizetype limit) const;
    bool isArrowAt(qsizetype at, qsizetype limit) const;
    // A type after ":"; before a body, "=>" belongs to a function type rather than ending it.
    qsizetype skipType(qsizetype at, qsizetype limit, bool beforeBody = false) const;
    qsizetype expressionEnd(qsizetype at, qsizetype limit) const;
    bool newlineBefore(qsizetype i) const;
    qsizetype nextComma(qsizetype at, qsizetype limit) const;

    QByteArrayView m_source;
    const std::vector<Token>& m_tokens;
    const std::vector<qint32>& m_match;
    ByteText::LineIndex m_lines;
    // Where each name is assigned, found once on the first listener that needs it.
    std::optional<std::unordered_map<std::string_view, std::vector<qint32>>> m_assignments;
};

} // namespace ScriptReader
