// Feeds arbitrary bytes to the readers of git's output and to the language lookup. The log is read
// twice, whole and in pieces cut where the first byte says: both readings must agree.
#include "git/git.h"
#include "model/language.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    Git::parseFileList(bytes);
    Git::parseStatus(bytes, QStringLiteral("src/"));
    Languages::languageFor(QString::fromUtf8(bytes));

    const qsizetype step = 1 + (size > 0 ? data[0] % 97 : 0);
    QByteArrayList pieces;
    for (qsizetype at = 0; at < bytes.size(); at += step)
        pieces.append(bytes.mid(at, step));
    const Git::History whole = Git::parseHistory({ bytes });
    const Git::History cut = Git::parseHistory(pieces);
    if (whole.paths.size() != cut.paths.size())
        std::abort();
    for (auto it = whole.paths.cbegin(); it != whole.paths.cend(); ++it) {
        const auto other = cut.paths.constFind(it.key());
        if (other == cut.paths.cend() || other->commits != it->commits || other->last != it->last)
            std::abort();
    }
    return 0;
}
