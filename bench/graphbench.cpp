// Times the imports graph layout: the median of repeated builds, on synthetic graphs of growing size
// (20 files to a folder, each importing three others) and on the imports of any folders named on
// the command line, which are scanned and read first (the read is timed as well).
#include "imports/dependencyreader.h"
#include "layout/graphlayout.h"
#include "scan/scanner.h"

#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>

namespace {

struct Synthetic {
    std::unique_ptr<FileNode> root;
    DependencyGraph graph;
};

Synthetic synthetic(int files)
{
    Synthetic made;
    made.root = std::make_unique<FileNode>(
        QStringLiteral("/bench"), QStringLiteral("bench"), QString(), true, nullptr);
    FileNode* folder = nullptr;
    for (int i = 0; i < files; ++i) {
        if (i % 20 == 0) {
            const QString name = QStringLiteral("mod%1").arg(i / 20, 4, 10, QChar(u'0'));
            folder = made.root->addChild(std::make_unique<FileNode>(name, name, name, true, made.root.get()));
        }
        const QString name = QStringLiteral("file%1.ts").arg(i, 5, 10, QChar(u'0'));
        const QString path = folder->relativePath + u'/' + name;
        FileNode* file = folder->addChild(std::make_unique<FileNode>(path, name, path, false, folder));
        file->language = &Languages::languageFor(name);
        file->lines = (i * 7919) % 1200;
    }
    made.root->finalize(0);
    made.graph = DependencyGraph::ofTree(*made.root);
    // A file imports one of its own folder, one of a nearby folder, and one of a few shared ones.
    for (qint32 i = 0; i < files; ++i) {
        made.graph.link(i, (i / 20) * 20 + (i * 7 + 3) % 20);
        made.graph.link(i, (i + 20 * (1 + i % 5) + i % 17) % files);
        made.graph.link(i, (i * 131) % std::min(files, 50));
    }
    return made;
}

template <typename Build> double medianMilliseconds(int runs, const Build& build)
{
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        build();
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

void row(const char* what, const FileNode& root, const DependencyGraph& graph, double readMs)
{
    const double layoutMs
        = medianMilliseconds(5, [&] { return GraphLayout::build(root, graph, HeightMode::lines); });
    std::printf("| %s | %zu | %zu | %s | %.0f |\n", what, graph.files.size(), graph.edges.size(),
        readMs < 0 ? "–" : QByteArray::number(readMs, 'f', 0).constData(), layoutMs);
}

} // namespace

int main(int argc, char* argv[])
{
    std::puts("| graph | files | edges | reading imports (ms) | layout (ms) |");
    std::puts("|---|---|---|---|---|");
    for (const int files : { 1000, 2000, 5000, 10000 }) {
        const Synthetic made = synthetic(files);
        row(QStringLiteral("synthetic, %1 folders").arg(files / 20).toUtf8().constData(), *made.root,
            made.graph, -1);
    }
    for (int i = 1; i < argc; ++i) {
        auto scanned = Scanner(QString::fromLocal8Bit(argv[i]), std::make_shared<CancelFlag>()).scan();
        const auto* result = std::get_if<ScanResult>(&scanned);
        if (!result)
            continue;
        std::optional<DependencyGraph> graph;
        const double readMs = medianMilliseconds(5, [&] { graph = DependencyReader::build(*result->root); });
        row(argv[i], *result->root, *graph, readMs);
    }
    return 0;
}
