#include "document/scriptsymbol.h"

QString scriptSymbolKindName(ScriptSymbol::Kind kind)
{
    using Kind = ScriptSymbol::Kind;
    switch (kind) {
    case Kind::function: return QStringLiteral("function");
    case Kind::arrow: return QStringLiteral("arrow");
    case Kind::klass: return QStringLiteral("klass");
    case Kind::method: return QStringLiteral("method");
    case Kind::getter: return QStringLiteral("getter");
    case Kind::setter: return QStringLiteral("setter");
    case Kind::object: return QStringLiteral("object");
    case Kind::property: return QStringLiteral("property");
    case Kind::handler: return QStringLiteral("handler");
    case Kind::variable: return QStringLiteral("variable");
    }
    return {};
}
