// Reads arbitrary bytes as a whole document, the first byte choosing the kind of file, and asks
// every query of every node; ids and links must stay in range.
#include "document/webreader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    static const char* const extensions[] = { "html", "css", "js", "ts", "c", "cpp", "h", "ino", "rs" };
    const QString extension = QString::fromLatin1(extensions[data[0] % std::size(extensions)]);
    const std::optional<WebDocument> document = WebReader::read(
        QByteArrayView(reinterpret_cast<const char*>(data + 1), qsizetype(size - 1)), extension);
    if (!document)
        __builtin_trap();
    const qsizetype count = qsizetype(document->nodes.size());
    for (const WebDocument::Node& node : document->nodes) {
        for (const qsizetype callee : document->callees(node.id))
            if (callee < 0 || callee >= count)
                __builtin_trap();
        document->callers(node.id);
        document->source(node.id);
        document->definition(node.name, node.id);
        if (node.parent && document->nodes[size_t(*node.parent)].depth + 1 != node.depth)
            __builtin_trap();
    }
    for (const WebDocument::Link& link : document->links) {
        if (link.from == link.to || link.from >= count || link.to >= count)
            __builtin_trap();
    }
    return 0;
}
