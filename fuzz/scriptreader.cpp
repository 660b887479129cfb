// Feeds arbitrary bytes to the script reader, and to its tokenizer and bracket matching alone.
#include "document/script/scriptreader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArrayView text(reinterpret_cast<const char*>(data), qsizetype(size));
    const std::vector<ScriptReader::Token> tokens = ScriptReader::tokenize(text);
    const std::vector<qint32> match = ScriptReader::brackets(tokens, text);
    for (size_t i = 0; i < match.size(); ++i) {
        if (match[i] > qint32(tokens.size()))
            __builtin_trap();
    }
    ScriptReader::read(text);
    return 0;
}
