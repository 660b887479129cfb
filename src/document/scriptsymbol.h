#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

#include <vector>

// One declaration found in script or native source: a function, class, method, object, handler or
// variable, with what its code calls, constructs and queries. Texts are UTF-8, as read.
struct ScriptSymbol {
    enum class Kind { function, arrow, klass, method, getter, setter, object, property, handler, variable };

    Kind kind = Kind::function;
    QByteArray name;
    QByteArray detail; // such as the parameter list
    qint64 line = 0; // 0-based lines of the first and last token
    qint64 endLine = 0;
    qint64 start = 0; // byte offsets of the first token's start and the last token's end
    qint64 end = 0;
    std::vector<ScriptSymbol> children;
    QByteArrayList calls; // names called as plain functions
    QByteArrayList methodCalls; // names called after a "." (or "->", "::")
    QByteArrayList constructs; // names after "new"
    QByteArrayList selectors; // elements the code queries
    QByteArray base; // the class extended
    QByteArray tag; // the element tag a handler is attached to
    QByteArray event; // a handler's event
    QByteArrayList passed; // names of functions handed over as arguments
};

QString scriptSymbolKindName(ScriptSymbol::Kind kind);

// Keeps the first `budget` entries of a tree, walking it depth-first: each list keeps as many as the
// remaining budget allows, then its kept entries' children share what is left. Marks rather than
// removes, so that dropped entries still mark where their text was. Returns whether any was dropped.
template <typename Entry> bool trim(std::vector<Entry>& list, qsizetype& budget)
{
    bool dropped = false;
    const qsizetype kept = std::min<qsizetype>(std::max<qsizetype>(budget, 0), qsizetype(list.size()));
    budget -= kept;
    for (qsizetype i = 0; i < qsizetype(list.size()); ++i)
        list[size_t(i)].kept = i < kept;
    dropped = kept < qsizetype(list.size());
    for (qsizetype i = 0; i < kept; ++i)
        dropped = trim(list[size_t(i)].children, budget) || dropped;
    return dropped;
}
