// Feeds arbitrary bytes to the C-family reader, as C and as C++.
#include "document/native/creader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArrayView text(reinterpret_cast<const char*>(data), qsizetype(size));
    const std::vector<CReader::Token> tokens = CReader::tokenise(text);
    CReader::read(text, tokens, CReader::looksLikeCpp(tokens, text));
    CReader::read(text, tokens, false);
    return 0;
}
