// Times WebReader::read, the whole walk into a file (reader, linking, indexing, layout), on each
// file named: the median of repeated reads, with the document's size.
#include "webreader.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cstdio>
#include <vector>

int main(int argc, char** argv)
{
    constexpr int runs = 15;
    std::printf("| file | size (KiB) | parts | links | truncated | read (ms) |\n|---|---|---|---|---|---|\n");
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
        std::optional<WebDocument> document;
        for (int run = 0; run < runs; ++run) {
            QElapsedTimer timer;
            timer.start();
            document = WebReader::read(bytes, extension);
            times.push_back(double(timer.nsecsElapsed()) / 1e6);
        }
        if (!document) {
            std::fprintf(stderr, "No structure reader for %s.\n", argv[i]);
            return 1;
        }
        std::sort(times.begin(), times.end());
        std::printf("| %s | %lld | %zu | %zu | %s | %.1f |\n",
            QFileInfo(path).fileName().toUtf8().constData(), static_cast<long long>(bytes.size() / 1024),
            document->nodes.size(), document->links.size(), document->truncated ? "yes" : "no",
            times[times.size() / 2]);
    }
    return 0;
}
