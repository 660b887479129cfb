#pragma once

// The declaration scan behind CReader; not for use elsewhere.

#include "document/native/tokenscan_p.h"

namespace CReader {

// Words followed by "(" that are no call and name no function.
bool isControl(QByteArrayView word);

class Parser : public TokenScan {
public:
    Parser(QByteArrayView source, const std::vector<Token>& tokens, bool cpp);
    // Reads the whole token range into the tree; then the passes after reading are the caller's.
    void run();

private:
    struct Record {
        qsizetype id;
        qsizetype close; // the brace that ends its body
    };

    void block(qsizetype from, qsizetype to, Owner owner, bool inRecord, int depth);
    void directive(qsizetype at, Owner owner);
    qsizetype namespaceBlock(qsizetype at, qsizetype limit, Owner owner, int depth);
    qsizetype typedefinition(qsizetype at, qsizetype limit, Owner owner, int depth);
    std::optional<Record> record(qsizetype at, qsizetype limit, Owner owner, bool inRecord, int depth);
    void enumerators(qsizetype open, qsizetype close, qsizetype owner);
    qsizetype statement(qsizetype at, qsizetype limit, Owner owner, bool inRecord);
    void function(
        qsizetype from, qsizetype paren, qsizetype body, qsizetype close, Owner owner, bool inRecord);
    void fields(qsizetype from, qsizetype semicolon, qsizetype owner);
    void fill(qsizetype open, qsizetype close, NativeSymbol& symbol) const;

    // The name before a parameter list ("operator==" and "~Foo" included) and, for Foo::name, Foo.
    std::pair<QByteArray, QByteArray> functionName(qsizetype paren) const;
    bool isFunctionHead(qsizetype paren) const;
    // The name an argument hands over: a bare or qualified name, after any "&" or cast.
    std::optional<QByteArrayView> passedName(qsizetype from, qsizetype to) const override;

    qsizetype endOfStatement(qsizetype at, qsizetype limit) const;

    bool m_cpp;
};

} // namespace CReader
