// Feeds arbitrary bytes to the S-expression reader and walks every value it gives, through every
// accessor.
#include "engineering/sexpr.h"

#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const auto root = SExpr::parse(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    if (!root)
        return 0;
    std::vector<SExpr> pending { *root };
    while (!pending.empty()) {
        const SExpr value = pending.back();
        pending.pop_back();
        value.number();
        if (const auto name = value.name()) {
            value.children(name->toUtf8());
            value.numbers(name->toUtf8());
        }
        for (const SExpr& item : value.items())
            pending.push_back(item);
    }
    return 0;
}
