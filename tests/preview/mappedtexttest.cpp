#include "text/mappedtext.h"

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

TEST(MappedTextTest, APipeOrAFolderIsRefusedInOneSentence)
{
    QTemporaryDir dir;
    EXPECT_EQ(std::get<QString>(MappedText::open(dir.path())),
        QStringLiteral("%1 is not a regular file.").arg(QFileInfo(dir.path()).fileName()));
}

} // namespace
