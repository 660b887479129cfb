#pragma once

// The tokeniser and item scan behind RustReader; not for use elsewhere.

#include "document/native/rustreader.h"
#include "document/native/tokenscan_p.h"

namespace RustReader {

using CReader::BodyNames;
using CReader::Token;

// Words, punctuation, strings (raw ones and character literals too) and numbers; a lifetime such
// as 'a is a word.
std::vector<Token> tokenise(QByteArrayView utf8);

// What an attribute written #[name] or #[path::name(…)] makes of a function: its event, and for a
// web route the route's detail.
struct AttributeEvent {
    QByteArray event;
    QByteArray detail;
};

class Parser : public CReader::TokenScan {
public:
    Parser(QByteArrayView source, const std::vector<Token>& tokens);
    void items(qsizetype from, qsizetype to, std::optional<qsizetype> owner, bool inTrait, int depth);

private:
    std::optional<qsizetype> attribute(qsizetype at, qsizetype limit);
    qsizetype itemKeyword(qsizetype at, qsizetype limit) const;
    qsizetype useDeclaration(qsizetype keyword, qsizetype pathFrom, qsizetype limit);
    qsizetype macroDefinition(qsizetype from, qsizetype at, qsizetype limit, Owner owner);
    qsizetype constant(qsizetype from, qsizetype at, qsizetype limit, Owner owner);
    qsizetype function(qsizetype from, qsizetype at, qsizetype limit, Owner owner, bool member);
    qsizetype record(qsizetype from, qsizetype at, qsizetype limit, Owner owner);
    qsizetype trait(qsizetype from, qsizetype at, qsizetype limit, Owner owner, int depth);
    qsizetype implementation(qsizetype at, qsizetype limit, Owner owner, int depth);
    qsizetype module(qsizetype from, qsizetype at, qsizetype limit, Owner owner, int depth);
    void fields(qsizetype open, qsizetype close, qsizetype owner, bool variants);
    void fill(qsizetype open, qsizetype close, NativeSymbol& symbol) const;
    std::optional<AttributeEvent> attributeEvent(qsizetype open, qsizetype close) const;
    std::optional<QByteArrayView> passedName(qsizetype from, qsizetype to) const override;
    qsizetype endOfItem(qsizetype at, qsizetype limit) const;

    std::vector<std::pair<qsizetype, qsizetype>> m_attributes; // the brackets of those before an item
    int m_implDepth = 0; // inside impl blocks, associated constants are no parts of their own
};

} // namespace RustReader
