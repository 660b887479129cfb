// Times the city and tree layouts: the median of repeated builds, on synthetic trees of growing size
// (20 files to a folder, folders 100 to a parent) and on any folders named on the command line.
#include "layout/citylayout.h"
#include "layout/treelayout.h"
#include "scan/scanner.h"

#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>

namespace {

std::unique_ptr<FileNode> synthetic(int files)
{
    auto root = std::make_unique<FileNode>(
        QStringLiteral("/bench"), QStringLiteral("bench"), QString(), true, nullptr);
    FileNode* top = nullptr;
    FileNode* folder = nullptr;
    for (int i = 0; i < files; ++i) {
        if (i % 2000 == 0) {
            const QString name = QStringLiteral("pkg%1").arg(i / 2000);
            top = root->addChild(std::make_unique<FileNode>(name, name, name, true, root.get()));
        }
        if (i % 20 == 0) {
            const QString name = QStringLiteral("mod%1").arg(i / 20);
            const QString path = top->relativePath + u'/' + name;
            folder = top->addChild(std::make_unique<FileNode>(path, name, path, true, top));
        }
        const QString name = QStringLiteral("file%1.cpp").arg(i);
        const QString path = folder->relativePath + u'/' + name;
        FileNode* file = folder->addChild(std::make_unique<FileNode>(path, name, path, false, folder));
        file->language = &Languages::languageFor(name);
        file->lines = (i * 7919) % 1200;
        file->size = file->lines * 31;
    }
    root->finalize(0);
    return root;
}

template <typename Build> double medianMilliseconds(int runs, const Build& build)
{
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        const LayoutResult result = build();
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

void row(const char* what, const FileNode& root)
{
    const LayoutResult city = CityLayout::build(root, HeightMode::lines);
    const double cityMs = medianMilliseconds(21, [&] { return CityLayout::build(root, HeightMode::lines); });
    const double treeMs = medianMilliseconds(21, [&] { return TreeLayout::build(root, HeightMode::lines); });
    std::printf("| %s | %lld | %zu | %lld | %.1f | %.1f |\n", what, static_cast<long long>(root.fileCount),
        city.placements.size(), static_cast<long long>(city.aggregated), cityMs, treeMs);
}

} // namespace

int main(int argc, char* argv[])
{
    std::puts("| tree | files | city placements | folders drawn whole | city (ms) | tree (ms) |");
    std::puts("|---|---|---|---|---|---|");
    for (const int files : { 10000, 20000, 40000, 80000 }) {
        const auto root = synthetic(files);
        row(QStringLiteral("synthetic, %1 folders").arg(files / 20).toUtf8().constData(), *root);
    }
    for (int i = 1; i < argc; ++i) {
        auto scanned = Scanner(QString::fromLocal8Bit(argv[i]), std::make_shared<CancelFlag>()).scan();
        if (const auto* result = std::get_if<ScanResult>(&scanned))
            row(argv[i], *result->root);
    }
    return 0;
}
