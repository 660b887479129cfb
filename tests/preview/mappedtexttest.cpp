#include "text/mappedtext.h"
#include "text/textneedle.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

std::shared_ptr<MappedText> mapped(const QString& path)
{
    MappedText::Opened opened = MappedText::open(path);
    if (auto* why = std::get_if<QString>(&opened))
        ADD_FAILURE() << why->toStdString();
    return std::get_if<std::shared_ptr<MappedText>>(&opened) ? std::get<std::shared_ptr<MappedText>>(opened)
                                                             : nullptr;
}

QStringList linesOf(MappedText& text)
{
    QStringList lines;
    for (qint64 i = 0; i < text.lineCount(); ++i)
        lines << MappedText::shown(text.line(i));
    return lines;
}

struct LinesCase {
    QByteArray bytes;
    QStringList lines;
};

TEST(MappedTextTest, LinesEndAtEveryBreakButTheLast)
{
    const LinesCase cases[] = {
        { "", { u""_qs } },
        { "one", { u"one"_qs } },
        { "one\n", { u"one"_qs } },
        { "one\r\ntwo\r\n", { u"one"_qs, u"two"_qs } },
        { "a\n\nb", { u"a"_qs, u""_qs, u"b"_qs } },
        // Bad UTF-8 becomes replacement characters and controls their visible symbols; tabs stay.
        { QByteArray("x\xff\0y\tz\n", 7), { u"x\uFFFD\u2400y\tz"_qs } },
        // C1 controls, which UTF-8 spells in two bytes, show as replacement characters too.
        { "a\xc2\x85"
          "b",
            { u"a\uFFFDb"_qs } },
    };
    QTemporaryDir dir;
    for (const LinesCase& c : cases) {
        QFile file(dir.filePath(u"f.txt"_qs));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(c.bytes);
        file.close();
        const auto text = mapped(file.fileName());
        ASSERT_TRUE(text && text->indexed());
        EXPECT_EQ(linesOf(*text), c.lines) << c.bytes.toStdString();
        EXPECT_EQ(linesOf(*MappedText::fromBytes(c.bytes)), c.lines) << c.bytes.toStdString();
    }
}

TEST(MappedTextTest, ALineCutAtItsLimitKeepsNoHalfOfItsBreak)
{
    const auto text = MappedText::fromBytes("abc\r\ndef\n");
    EXPECT_EQ(text->line(0, 4), "abc");
    EXPECT_EQ(text->line(0, 2), "ab");
    EXPECT_EQ(text->line(1), "def");
}

TEST(MappedTextTest, ALargeFileShowsItsFirstLinesAtOnceAndTheRestOnceIndexed)
{
    QTemporaryDir dir;
    QFile file(dir.filePath(u"big.log"_qs));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    QByteArray all;
    for (int i = 0; i < 200000; ++i)
        all += "line " + QByteArray::number(i) + (i % 3 ? "\n" : " with some more text in it\n");
    file.write(all);
    file.close();
    const auto text = mapped(file.fileName());
    ASSERT_TRUE(text);
    ASSERT_FALSE(text->indexed());
    EXPECT_EQ(text->line(0), "line 0 with some more text in it");
    qint64 lastReport = 0;
    text->indexLines([] { return false; }, [&](qint64 lines) { lastReport = lines; });
    EXPECT_TRUE(text->indexed());
    EXPECT_EQ(text->lineCount(), 200000);
    EXPECT_EQ(lastReport, 200000);
    EXPECT_EQ(text->line(199999), "line 199999");
    EXPECT_EQ(text->line(123456), "line 123456 with some more text in it");
    EXPECT_EQ(text->lineAt(text->lineStart(150000) + 3), 150000);
}

TEST(MappedTextTest, AStoppedIndexKeepsWhatItFoundAndIsNotComplete)
{
    QTemporaryDir dir;
    QFile file(dir.filePath(u"big.log"_qs));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(12 << 20, '\n'));
    file.close();
    const auto text = mapped(file.fileName());
    ASSERT_TRUE(text);
    text->indexLines([] { return true; });
    EXPECT_FALSE(text->indexed());
    EXPECT_EQ(text->lineCount(), (256 << 10) + 1);
}

TEST(MappedTextTest, AHugeSparseFileIsReadOnlyWhereAsked)
{
    QTemporaryDir dir;
    QFile file(dir.filePath(u"sparse.bin"_qs));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    const qint64 size = qint64(5) << 30;
    ASSERT_TRUE(file.resize(size));
    ASSERT_TRUE(file.seek(size - 4));
    file.write("tail");
    file.close();
    const auto text = mapped(file.fileName());
    ASSERT_TRUE(text);
    EXPECT_EQ(text->size(), size);
    EXPECT_EQ(text->bytes(size - 4, 100), "tail");
    EXPECT_EQ(text->bytes(size, 16).size(), 0);
    // A line with no break in it is handed out only as far as a line is shown.
    EXPECT_EQ(text->line(0).size(), MappedText::shownLineBytes);
}

// A large file, read as it is shown, cut short on the disk while it is open (a log rotated in place):
// what is gone reads as nothing, what is left as before, and nothing faults.
TEST(MappedTextTest, ALargeFileCutShortWhileOpenGivesFewerBytes)
{
    QTemporaryDir dir;
    QFile file(dir.filePath(u"rotated.log"_qs));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    QByteArray all;
    for (int i = 0; all.size() <= MappedText::readWholeBytes + (1 << 20); ++i)
        all += "entry " + QByteArray::number(i) + " of the log\n";
    file.write(all);
    file.close();
    const auto text = mapped(file.fileName());
    ASSERT_TRUE(text);
    text->indexLines([] { return false; });
    const qint64 last = text->lineCount() - 1;
    ASSERT_GT(last, 1000);
    EXPECT_EQ(text->line(last), "entry " + QByteArray::number(last) + " of the log");

    ASSERT_TRUE(QFile::resize(file.fileName(), 1 << 20));
    EXPECT_EQ(text->line(last), "");
    EXPECT_EQ(text->bytes(text->size() - 100, 100), "");
    EXPECT_EQ(text->line(10), "entry 10 of the log");
    const std::optional<TextNeedle> needle = TextNeedle::make(QString(u"entry " + QString::number(last)));
    ASSERT_TRUE(needle);
    EXPECT_EQ(text->indexOf(*needle, 0), -1);
    EXPECT_EQ(text->lastIndexOf(*needle, text->size()), -1);
}

// A bytewise search through a large file reads it a block at a time: a match across two blocks is
// found, forward and back, and so are the first and the last of several.
TEST(MappedTextTest, ALargeFileIsSearchedAcrossItsBlocks)
{
    QTemporaryDir dir;
    QFile file(dir.filePath(u"big.txt"_qs));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    QByteArray all(MappedText::readWholeBytes + (3 << 20), 'x');
    for (qsizetype at = 4095; at < all.size(); at += 4096)
        all[at] = '\n';
    const qint64 across = (4 << 20) - 3; // over the first block's end
    const qint64 later = all.size() - 10;
    all.replace(across, 6, "Needle");
    all.replace(later, 6, "needle");
    file.write(all);
    file.close();
    const auto text = mapped(file.fileName());
    ASSERT_TRUE(text);
    text->indexLines([] { return false; });
    const std::optional<TextNeedle> needle = TextNeedle::make(u"needle");
    ASSERT_TRUE(needle && needle->bytewise());
    EXPECT_EQ(text->indexOf(*needle, 0), across);
    EXPECT_EQ(text->indexOf(*needle, across + 1), later);
    EXPECT_EQ(text->indexOf(*needle, later + 1), -1);
    EXPECT_EQ(text->lastIndexOf(*needle, text->size()), later);
    EXPECT_EQ(text->lastIndexOf(*needle, later), across);
    EXPECT_EQ(text->lastIndexOf(*needle, across), -1);
    EXPECT_TRUE(text->line(text->lineAt(across)).contains("Needle"));
}

TEST(MappedTextTest, APipeOrAFolderIsRefusedInOneSentence)
{
    QTemporaryDir dir;
    EXPECT_EQ(std::get<QString>(MappedText::open(dir.path())),
        QStringLiteral("%1 is not a regular file.").arg(QFileInfo(dir.path()).fileName()));
}

} // namespace
