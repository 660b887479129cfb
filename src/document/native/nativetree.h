#pragma once

// The symbols of a C-family or Rust file while they are being read: a flat list with child indices,
// so that the passes after reading (methods defined out of line moved into their class, handlers
// marked, passed functions linked) move symbols by number. Not for use outside the readers.

#include "document/scriptsymbol.h"

#include <QSet>

#include <optional>
#include <vector>

// A call made in a body, with the names handed to it as arguments.
struct Registration {
    QByteArray called;
    QByteArrayList passed;
};

struct NativeSymbol {
    ScriptSymbol symbol; // its children stay empty until the tree is built
    std::vector<qsizetype> children;
    std::optional<qsizetype> parent;
    QByteArray qualifier; // Foo, of a definition written Foo::name outside its class
    bool viaMacro = false; // declared through a handler macro such as ISR(vector)
    bool member = false; // defined inside a record, trait or impl block
    bool standIn = false; // a class made to hold methods whose class is defined in another file
    std::vector<Registration> registrations;
};

class NativeTree {
public:
    qsizetype add(NativeSymbol symbol, std::optional<qsizetype> parent);
    NativeSymbol& operator[](qsizetype id) { return m_nodes[size_t(id)]; }
    const NativeSymbol& operator[](qsizetype id) const { return m_nodes[size_t(id)]; }
    qsizetype size() const { return qsizetype(m_nodes.size()); }
    const std::vector<qsizetype>& roots() const { return m_roots; }

    // Moves a symbol, with its children, to the end of another's children.
    void move(qsizetype id, qsizetype parent);
    // The first record (class, struct, enum, trait) of a name, in reading order.
    std::optional<qsizetype> record(QByteArrayView name) const;
    bool isFunction(qsizetype id) const;
    // Whether a name is that of a function, method or handler of the file.
    bool namesFunction(QByteArrayView name) const;

    // The nested symbols, top level first, moved out of the tree, which is left empty.
    std::vector<ScriptSymbol> build();

private:
    std::vector<ScriptSymbol> inOrder(const std::vector<qsizetype>& ids);

    std::vector<NativeSymbol> m_nodes;
    std::vector<qsizetype> m_roots;
    mutable std::optional<QSet<QByteArray>> m_functionNames;
};

namespace NativeHandlers {

// Methods written Foo::name outside Foo's body join Foo; without a Foo in the file they are gathered
// under a class of that name standing for the one defined elsewhere.
void attachOutOfLine(NativeTree& tree);
// The C-family handler rules: handler macros, interrupt vector names, entry points, registrations.
void markHandlers(NativeTree& tree);
// Functions handed to a registration call become handlers of the call's event (first one wins).
void markRegistered(NativeTree& tree, QByteArray (*eventOf)(QByteArrayView called));
// What a call registers, by the C-family table: "interrupt", "timer" … or nothing.
QByteArray registers(QByteArrayView called);
// Names passed to calls that name functions of the file become calls of the passing symbol, so the
// registration site is seen to lead to the handler.
void linkPassed(NativeTree& tree);

} // namespace NativeHandlers
