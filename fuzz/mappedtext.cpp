// Hands arbitrary bytes to the mapped text and checks its line index: at least one line, every line
// inside the bytes, without a line break, and found again from any of its bytes; the lines tile the
// text; and a line as shown holds no control character but the tab.
#include "text/mappedtext.h"

#include <QString>

#include <cstdlib>

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

bool isControl(char16_t u)
{
    return (u < 0x20 && u != u'\t') || (u >= 0x7f && u < 0xa0);
}

void checkShown(QByteArrayView line)
{
    const QString shown = MappedText::shown(line);
    for (const QChar c : shown)
        require(!isControl(c.unicode()));
    // Only invalid UTF-8 changes how many characters there are; a symbol takes a control's place.
    require(shown.size() == QString::fromUtf8(line).size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const std::shared_ptr<MappedText> text = MappedText::fromBytes(bytes);
    require(text && text->indexed() && text->size() == bytes.size());
    const char* const begin = text->bytes(0, text->size()).constData();
    const char* const end = begin + text->size();

    const qint64 count = text->lineCount();
    require(count >= 1);
    // The final line break ends the last line, so a text ending in one has one line per break.
    require(count == qint64(bytes.count('\n')) + (bytes.endsWith('\n') ? 0 : 1));
    const qint64 limit = size > 0 ? data[0] % 8 : 0;
    for (qint64 i = 0; i < count; ++i) {
        const qint64 start = text->lineStart(i);
        const qint64 next = i + 1 < count ? text->lineStart(i + 1) : text->size();
        require(start >= 0 && start <= next && next <= text->size());
        require(i == 0 ? start == 0 : bytes[start - 1] == '\n');
        for (qint64 at = start; at < next; ++at)
            require(text->lineAt(at) == i);

        const QByteArray line = text->line(i);
        // Held whole, the text's lines are its own bytes, not copies (an empty one points nowhere).
        require(
            line.isEmpty() || (line.constData() == begin + start && line.constData() + line.size() <= end));
        require(!line.contains('\n'));
        require(line.size() <= MappedText::shownLineBytes);
        // A line runs up to its break, less a '\r' before the break, unless it is cut short.
        const QByteArrayView whole = QByteArrayView(bytes).sliced(start, next - start);
        require(whole.startsWith(line));
        const QByteArrayView rest = whole.sliced(line.size());
        require(
            line.size() == MappedText::shownLineBytes || rest.isEmpty() || rest == "\n" || rest == "\r\n");

        const QByteArray shorter = text->line(i, limit);
        require(shorter.size() <= limit && line.startsWith(shorter));

        checkShown(line);
        checkShown(shorter);
    }
    // The last line of a text that ends in a break starts at the end: no line begins past it.
    require(text->lineAt(text->size()) >= count - 1);
    checkShown(bytes);
    return 0;
}
