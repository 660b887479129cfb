#include "document/scriptsymbol.h"

#include "text/nametable.h"

constexpr auto scriptSymbolKindNames = nameTable<ScriptSymbol::Kind>(
    "function", "arrow", "klass", "method", "getter", "setter", "object", "property", "handler", "variable");

QString scriptSymbolKindName(ScriptSymbol::Kind kind)
{
    return scriptSymbolKindNames.name(kind);
}
