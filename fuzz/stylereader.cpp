// Feeds arbitrary bytes to the stylesheet reader, and to its selector scan alone.
#include "document/style/stylereader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArrayView text(reinterpret_cast<const char*>(data), qsizetype(size));
    StyleReader::read(text);
    StyleReader::targets(text);
    return 0;
}
