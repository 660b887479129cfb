// Times WebReader::read, the whole walk into a file (reader, linking, indexing, layout), on each
// file named: the median wall and CPU time of repeated reads, with the document's size.
#include "document/webreader.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

namespace {

// CPU time of this thread: what a read costs, whatever else the machine is doing.
double cpuMilliseconds()
{
    timespec now {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    constexpr int runs = 15;
    std::printf("| file | size (KiB) | parts | links | truncated | read (ms) | read, CPU (ms) |\n"
                "|---|---|---|---|---|---|---|\n");
    for (int i = 1; i < argc; ++i) {
        const QString path = QString::fromLocal8Bit(argv[i]);
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "%s can't be read.\n", argv[i]);
            return 1;
        }
        const QByteArray bytes = file.readAll();
        const QString extension = QFileInfo(path).suffix();
        std::vector<double> times;
        std::vector<double> cpu;
        std::optional<WebDocument> document;
        for (int run = 0; run < runs; ++run) {
            QElapsedTimer timer;
            timer.start();
            const double cpuStart = cpuMilliseconds();
            document = WebReader::read(bytes, extension);
            cpu.push_back(cpuMilliseconds() - cpuStart);
            times.push_back(double(timer.nsecsElapsed()) / 1e6);
        }
        if (!document) {
            std::fprintf(stderr, "No structure reader for %s.\n", argv[i]);
            return 1;
        }
        std::printf("| %s | %lld | %zu | %zu | %s | %.1f | %.1f |\n",
            QFileInfo(path).fileName().toUtf8().constData(), static_cast<long long>(bytes.size() / 1024),
            document->nodes.size(), document->links.size(), document->truncated ? "yes" : "no", median(times),
            median(cpu));
    }
    return 0;
}
