#pragma once

#include "document/scriptsymbol.h"

#include <string>
#include <vector>

// A symbol tree written on one line, to compare with a table's expectation:
// "klass Menu (extends Base) { method open (()); property size (3) }".
inline std::string shape(const std::vector<ScriptSymbol>& symbols)
{
    std::string out;
    for (const ScriptSymbol& symbol : symbols) {
        if (!out.empty())
            out += "; ";
        out += scriptSymbolKindName(symbol.kind).toStdString() + ' ' + symbol.name.toStdString();
        if (!symbol.detail.isEmpty())
            out += " (" + symbol.detail.toStdString() + ')';
        if (!symbol.children.empty())
            out += " { " + shape(symbol.children) + " }";
    }
    return out;
}

inline std::string joined(const QByteArrayList& list)
{
    return list.join(' ').toStdString();
}
