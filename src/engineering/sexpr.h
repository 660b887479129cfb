#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

// A value of the nested S-expressions that board and schematic files are made of: an atom (a bare
// word or a quoted string, unescaped) or a list of values. Reading never fails: a truncated or
// unbalanced text gives the values as far as they go.
//
// The whole tree lives in one flat store shared by every SExpr taken from it, so a board of several
// megabytes is a few large arrays, and a text nested a hundred thousand levels deep is read, walked
// and freed without recursion. An SExpr is a small handle: copy it freely.
class SExpr {
public:
    struct Store; // the flat tree, private to the reader
    // The first value of a UTF-8 text, which the values keep rather than copy; none when the text
    // holds only space and comments.
    static std::optional<SExpr> parse(const QByteArray& utf8);

    bool isAtom() const;
    bool isList() const;
    QString text() const; // an atom's text; empty for a list
    QByteArrayView utf8() const; // the same, as stored
    qsizetype size() const; // a list's item count; 0 for an atom
    SExpr item(qsizetype index) const;
    std::vector<SExpr> items() const;

    // The first item's text when it is an atom.
    std::optional<QString> name() const;
    // The items after the first.
    std::vector<SExpr> arguments() const;
    // The first (or every) item that is a list with this name.
    std::optional<SExpr> child(QByteArrayView name) const;
    std::vector<SExpr> children(QByteArrayView name) const;
    // An atom read as a C-locale decimal number that takes its whole text.
    std::optional<double> number() const;
    // The numbers among child(name)'s arguments.
    std::vector<double> numbers(QByteArrayView name) const;

private:
    SExpr(std::shared_ptr<const Store> store, quint32 node);
    bool nameIs(QByteArrayView name) const;

    std::shared_ptr<const Store> m_store;
    quint32 m_node;
};
