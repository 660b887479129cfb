// Feeds arbitrary bytes to the markup reader and walks the elements it gives.
#include "document/markup/markupreader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const MarkupReader::Reading reading
        = MarkupReader::read(QByteArrayView(reinterpret_cast<const char*>(data), qsizetype(size)));
    std::vector<const MarkupElement*> pending;
    for (const MarkupElement& element : reading.elements)
        pending.push_back(&element);
    while (!pending.empty()) {
        const MarkupElement* element = pending.back();
        pending.pop_back();
        element->name();
        if (element->line > element->endLine)
            __builtin_trap();
        for (const MarkupElement& child : element->children)
            pending.push_back(&child);
    }
    return 0;
}
