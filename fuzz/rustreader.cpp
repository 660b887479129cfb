// Feeds arbitrary bytes to the Rust reader.
#include "document/native/rustreader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    RustReader::read(QByteArrayView(reinterpret_cast<const char*>(data), qsizetype(size)));
    return 0;
}
