// Times syntax colouring on each file named: a screen of 60 lines at the top, the middle and the end
// of the file, reached through SyntaxCarries, on a first visit (fresh carries every run) and on a
// revisit (carries that have seen the file, coming back from elsewhere); then the whole file,
// coloured and walked for carries alone.
#include "benchtiming.h"
#include "preview/syntax.h"
#include "preview/syntaxcarries.h"

#include <QFile>
#include <QFileInfo>

#include <cstdio>
#include <cstring>

namespace {

constexpr qint64 screenLines = 60;

std::vector<QByteArrayView> splitLines(const QByteArray& bytes)
{
    std::vector<QByteArrayView> lines;
    const char* p = bytes.constData();
    const char* const end = p + bytes.size();
    while (p < end) {
        const char* newline = static_cast<const char*>(std::memchr(p, '\n', size_t(end - p)));
        const char* stop = newline ? newline : end;
        lines.emplace_back(p, stop - p);
        p = stop + 1;
    }
    return lines;
}

// Colours one screen from `first`, as the preview does: the carry it starts with, then its lines.
size_t colourScreen(const Syntax& syntax, SyntaxCarries& carries, const std::vector<QByteArrayView>& lines,
    qint64 first, std::vector<SyntaxSpan>& spans)
{
    SyntaxCarry carry = carries.carryAt(first);
    size_t count = 0;
    for (qint64 l = first; l < std::min<qint64>(first + screenLines, qint64(lines.size())); ++l) {
        syntax.colour(lines[size_t(l)], carry, spans);
        count += spans.size();
    }
    return count;
}

// Like milliseconds(), but with a step before each run that is not timed.
template <typename Before, typename Run> Timing timed(int runs, const Before& before, const Run& run)
{
    std::vector<double> times, cpu;
    for (int i = 0; i < runs; ++i) {
        before();
        QElapsedTimer timer;
        const double cpuStart = cpuMilliseconds();
        timer.start();
        run();
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
        cpu.push_back(cpuMilliseconds() - cpuStart);
    }
    std::sort(times.begin(), times.end());
    std::sort(cpu.begin(), cpu.end());
    return { times[times.size() / 2], times[std::min(times.size() - 1, times.size() * 9 / 10)],
        cpu[cpu.size() / 2] };
}

} // namespace

int main(int argc, char** argv)
{
    const int runs = qEnvironmentVariableIntValue("RUNS") > 0 ? qEnvironmentVariableIntValue("RUNS") : 51;
    std::printf("| file | lines | KiB | screen at | first visit (ms) | p90 | revisit (ms) | p90 |\n"
                "|---|---|---|---|---|---|---|---|\n");
    std::vector<std::string> wholeRows;
    for (int i = 1; i < argc; ++i) {
        const QString path = QString::fromLocal8Bit(argv[i]);
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "%s can't be read.\n", argv[i]);
            return 1;
        }
        const QByteArray bytes = file.readAll();
        const std::vector<QByteArrayView> lines = splitLines(bytes);
        const qint64 count = qint64(lines.size());
        const QByteArray name = QFileInfo(path).fileName().toUtf8();
        const Syntax& syntax = Syntax::forFile(QFileInfo(path).fileName());
        if (syntax.isPlain()) {
            std::fprintf(stderr, "%s has no syntax to colour.\n", argv[i]);
            return 1;
        }
        const SyntaxCarries::Lines source = [&](qint64 l) {
            return QByteArray::fromRawData(lines[size_t(l)].data(), lines[size_t(l)].size());
        };
        std::vector<SyntaxSpan> spans;
        size_t sink = 0;

        const std::pair<const char*, qint64> screens[]
            = { { "top", 0 }, { "middle", count / 2 }, { "end", std::max<qint64>(0, count - screenLines) } };
        SyntaxCarries seen(syntax, source, count);
        for (const auto& [label, first] : screens)
            colourScreen(syntax, seen, lines, first, spans);
        for (const auto& screen : screens) {
            // Named copies: clang before 16 lets no lambda capture a structured binding.
            const char* const label = screen.first;
            const qint64 first = screen.second;
            const Timing fresh = timed(
                runs, [] {},
                [&] {
                    SyntaxCarries carries(syntax, source, count);
                    sink += colourScreen(syntax, carries, lines, first, spans);
                });
            // Coming back from the other end of the file, so the last answer is no help.
            const qint64 elsewhere = first < count / 2 ? count - 1 : 0;
            const Timing again = timed(
                runs, [&] { seen.carryAt(elsewhere); },
                [&] { sink += colourScreen(syntax, seen, lines, first, spans); });
            std::printf("| %s | %lld | %lld | %s | %.3f | %.3f | %.3f | %.3f |\n", name.constData(),
                static_cast<long long>(count), static_cast<long long>(bytes.size() / 1024), label,
                fresh.median, fresh.p90, again.median, again.p90);
        }

        const Timing whole = timed(
            std::max(5, runs / 5), [] {},
            [&] {
                SyntaxCarry carry;
                for (const QByteArrayView line : lines) {
                    syntax.colour(line, carry, spans);
                    sink += spans.size();
                }
            });
        const Timing walk = timed(
            std::max(5, runs / 5), [] {},
            [&] {
                SyntaxCarry carry;
                for (const QByteArrayView line : lines)
                    syntax.carryOver(line, carry);
                sink += carry.depth;
            });
        char row[256];
        std::snprintf(row, sizeof row, "| %s | %.2f | %.0f | %.2f | %.0f |", name.constData(), whole.median,
            double(bytes.size()) / 1e6 / (whole.median / 1e3), walk.median,
            double(bytes.size()) / 1e6 / (walk.median / 1e3));
        wholeRows.emplace_back(row);
        if (sink == 0)
            std::fprintf(stderr, "nothing coloured in %s\n", argv[i]);
    }
    std::printf(
        "\n| file | whole file coloured (ms) | MB/s | carries alone (ms) | MB/s |\n|---|---|---|---|---|\n");
    for (const std::string& row : wholeRows)
        std::printf("%s\n", row.c_str());
    return 0;
}
