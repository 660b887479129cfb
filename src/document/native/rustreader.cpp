#include "document/native/rustreader.h"

#include "document/native/rustparser_p.h"
#include "text/bytetext.h"

namespace RustReader {

namespace {

using ByteText::among;

} // namespace

QByteArray registers(QByteArrayView called)
{
    if (among(called, { "spawn", "spawn_blocking", "spawn_local", "scope" }))
        return "thread";
    if (among(called, { "signal", "set_handler" }))
        return "signal";
    if (called == "connect")
        return "connect";
    if (called.startsWith("add_event_listener"))
        return "event";
    return {};
}

Reading read(QByteArrayView utf8)
{
    const QByteArrayView readable = CReader::readablePart(utf8);
    const std::vector<Token> tokens = tokenise(readable);
    Parser parser(readable, tokens);
    parser.items(0, qsizetype(tokens.size()), std::nullopt, false, 0);
    return parser.finish(readable.size() < utf8.size(),
        [](NativeTree& tree) { NativeHandlers::markRegistered(tree, registers); });
}

} // namespace RustReader
