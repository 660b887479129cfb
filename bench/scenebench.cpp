// Times the scene: building it from a scanned folder (against the layout alone, which it runs), and
// drawing it offscreen while the camera orbits (against a frame with nothing in it, the cost of
// clearing and finishing a frame on the same driver). Given a file instead of a folder, the city of
// its parts, as walking into it shows, and first the walk itself: reading the file into its parts,
// standing them as a city, building the scene and drawing its first frame. Needs a display;
// bench/scene.sh runs it under xvfb-run.
#include "benchtiming.h"
#include "document/webreader.h"
#include "imports/dependencyreader.h"
#include "layout/citylayout.h"
#include "layout/graphlayout.h"
#include "layout/partcity.h"
#include "scan/scanner.h"
#include "scene/labels.h"
#include "scene/offscreenview.h"
#include "scene/renderer.h"
#include "scene/scenecontroller.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>

namespace {

void usage()
{
    std::fputs("usage: scene_bench FOLDER|FILE [--mode city|graph] [--size WxH] [--frames N] [--samples N] "
               "[--image FILE.png]\n",
        stderr);
}

} // namespace

int main(int argc, char* argv[])
{
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 2) {
        usage();
        return 2;
    }
    QSize size(1280, 800);
    int frames = 240, samples = -1;
    QString image;
    bool graph = false;
    for (qsizetype i = 2; i + 1 < args.size(); i += 2) {
        if (args[i] == u"--size") {
            const QStringList wh = args[i + 1].split(u'x');
            size = QSize(wh.value(0).toInt(), wh.value(1).toInt());
        } else if (args[i] == u"--frames") {
            frames = std::max(args[i + 1].toInt(), 1);
        } else if (args[i] == u"--samples") {
            samples = args[i + 1].toInt();
        } else if (args[i] == u"--mode" && (args[i + 1] == u"city" || args[i + 1] == u"graph")) {
            graph = args[i + 1] == u"graph";
        } else if (args[i] == u"--image") {
            image = args[i + 1];
        } else {
            usage();
            return 2;
        }
    }

    SceneController scene;
    SceneConfig config;
    std::shared_ptr<FileNode> tree;
    std::unique_ptr<PartCity> parts;
    const QFileInfo given(args[1]);
    if (given.isFile()) {
        QFile file(given.filePath());
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "cannot read %s\n", qPrintable(given.filePath()));
            return 1;
        }
        const QByteArray bytes = file.read(WebReader::byteLimit);
        if (!WebReader::readsExtension(given.suffix())) {
            std::fprintf(stderr, "no structure is read from %s\n", qPrintable(given.fileName()));
            return 1;
        }
        config.parts = true;
        // The walk, as Return starts it: read, stand the parts up, build the scene, draw a frame, its
        // shadows coming a moment later as in the window.
        OffscreenView first;
        if (!first.create(size, 1, Renderer::interactiveSamples())) {
            std::fprintf(stderr, "%s\n", qPrintable(first.error()));
            return 1;
        }
        SceneController walked;
        const Timing walk = milliseconds(15, [&](int) {
            const WebDocument document = *WebReader::read(bytes, given.suffix());
            PartCity city(document, given.absoluteFilePath(), given.fileName());
            config.heightScale = city.heightScale();
            walked.build(city.root(), config, true, {}, &city.everyNode());
            walked.camera().setAspect(float(size.width()) / float(size.height()));
            walked.camera().settle();
            walked.setShadowsEnabled(false);
            first.draw(walked);
            first.finish();
            walked.clear();
        });
        const WebDocument document = *WebReader::read(bytes, given.suffix());
        parts = std::make_unique<PartCity>(document, given.absoluteFilePath(), given.fileName());
        std::printf("File: %s, %lld KiB, %zu parts\n\n", qPrintable(given.fileName()),
            static_cast<long long>(bytes.size() / 1024), document.nodes.size());
        std::puts("| step | median (ms) | 90th percentile (ms) | processor time, median (ms) |");
        std::puts("|---|---|---|---|");
        std::printf("| walking in: read, parts' city, scene, first frame | %.2f | %.2f | %.2f |\n\n",
            walk.median, walk.p90, walk.cpu);
    } else {
        auto scanned = Scanner(args[1], std::make_shared<CancelFlag>()).scan();
        if (!std::holds_alternative<ScanResult>(scanned)) {
            std::fprintf(stderr, "%s\n", qPrintable(std::get<ScanError>(scanned).description()));
            return 1;
        }
        tree = std::get<ScanResult>(scanned).root;
    }
    const FileNode& root = parts ? parts->root() : *tree;
    // A file's parts all stand; none is drawn whole.
    const NodeSet* only = parts ? &parts->everyNode() : nullptr;
    // The graph view draws the folder's imports, read and settled once, as the window keeps them.
    auto imports = std::make_shared<ImportsMap>();
    if (graph) {
        config.mode = VisualizationMode::graph;
        imports->tree = tree;
        imports->graph = *DependencyReader::build(root);
        imports->positions = *GraphLayout::settle(imports->graph);
        scene.setImports(imports);
    }
    const Timing layout = milliseconds(21, [&](int) {
        if (graph)
            GraphLayout::place(root, imports->graph, imports->positions, config.height);
        else
            CityLayout::build(root, config.height, 1, {}, only);
    });
    const Timing build = milliseconds(21, [&](int) { scene.build(root, config, true, {}, only); });
    qint64 buildings = 0;
    for (const EntityNode& entity : scene.entities())
        buildings += entity.kind() == PlacementKind::building;
    std::printf("Tree: %lld files; the %s: %zu entities, %lld buildings (%lld folders drawn whole), "
                "%zu boxes, %zu planes, %zu links\n\n",
        static_cast<long long>(root.fileCount), graph ? "graph" : "city", scene.entities().size(),
        static_cast<long long>(buildings), static_cast<long long>(scene.layout().aggregated),
        scene.boxInstances().size(), scene.planeInstances().size(), scene.layout().edges.size());
    std::puts("| step | median (ms) | 90th percentile (ms) | processor time, median (ms) |");
    std::puts("|---|---|---|---|");
    const auto row = [](const char* what, const Timing& t) {
        std::printf("| %s | %.2f | %.2f | %.2f |\n", what, t.median, t.p90, t.cpu);
    };
    row(graph ? "graph placement alone (settled once)" : "city layout alone", layout);
    row("SceneController.build", build);

    // The window's own setting first (no multisampling on a software renderer), then four samples a
    // pixel as on a GPU and in snapshots, when that is not the same.
    std::vector<int> settings { samples >= 0 ? samples : Renderer::interactiveSamples() };
    if (samples < 0 && settings.front() != 4)
        settings.push_back(4);
    QString driver;
    for (const int perPixel : settings) {
        OffscreenView view;
        if (!view.create(size, 1, perPixel)) {
            std::fprintf(stderr, "%s\n", qPrintable(view.error()));
            return 1;
        }
        driver = view.renderer().driver();
        const QString label = QStringLiteral(", %1×%2, %3")
                                  .arg(size.width())
                                  .arg(size.height())
                                  .arg(perPixel > 0 ? QStringLiteral("%1 samples a pixel").arg(perPixel)
                                                    : QStringLiteral("no multisampling"));
        SceneController nothing;
        const Timing floor = milliseconds(frames, [&](int) {
            view.draw(nothing);
            view.finish();
        });
        scene.build(root, config, true, {}, only);
        scene.camera().setAspect(float(size.width()) / float(size.height()));
        scene.camera().settle();
        QElapsedTimer first;
        first.start();
        view.draw(scene);
        view.finish();
        const double firstFrame = double(first.nsecsElapsed()) / 1e6;
        // A full turn around the city, one frame at a time, as the turn keys glide. Each step is
        // drawn as the window draws it (on a software renderer, without the detail that waits for
        // the camera to stop), then the same with every wall drawn whole, then in full detail; all
        // at full resolution. Taking turns this way, a busy machine slows the three alike.
        const float turn = 2 * float(std::numbers::pi) / float(frames);
        TimingSamples orbiting, orbitingWhole, orbitingInFull;
        Renderer& renderer = view.renderer();
        const auto frame = [&] {
            view.draw(scene);
            view.finish();
        };
        for (int i = 0; i < frames; ++i) {
            scene.camera().turn(turn);
            scene.camera().step(1.0f / 60);
            orbiting.add(frame);
            renderer.setWallCutting(false);
            orbitingWhole.add(frame);
            renderer.setWallCutting(true);
            renderer.setAdaptiveDetail(false);
            orbitingInFull.add(frame);
            renderer.setAdaptiveDetail(true);
        }
        // A new selection every frame with the camera at rest: the instance buffers are uploaded
        // again each time.
        scene.camera().settle();
        const auto& entities = scene.entities();
        const Timing changing = milliseconds(std::min(frames, 60), [&](int i) {
            scene.setSelection(entities[size_t(i * 37) % entities.size()].file);
            view.draw(scene);
            view.finish();
        });
        row(qPrintable(u"empty frame: clear and finish" + label), floor);
        std::printf("| first frame: upload, shadows, draw%s | %.2f | | |\n", qPrintable(label), firstFrame);
        row(qPrintable(u"frame while orbiting" + label), orbiting.timing());
        row(qPrintable(u"frame while orbiting, every wall drawn whole" + label), orbitingWhole.timing());
        if (renderer.softwareContext() && perPixel == 0)
            row(qPrintable(u"frame while orbiting, every frame in full detail" + label),
                orbitingInFull.timing());
        row(qPrintable(u"frame after a new selection, camera at rest" + label), changing);
    }
    // The names over the city with the camera at rest (while it moves they are not drawn): placing
    // them, and placing and painting them on a layer as the window does over each frame.
    scene.camera().settle();
    QImage layer(size, QImage::Format_ARGB32_Premultiplied);
    std::size_t named = 0;
    const Timing placing
        = milliseconds(std::min(frames, 60), [&](int) { named = placeLabels(scene, size).size(); });
    const Timing painting = milliseconds(std::min(frames, 60), [&](int) {
        layer.fill(Qt::transparent);
        QPainter painter(&layer);
        paintLabels(painter, scene, size);
    });
    row(qPrintable(QStringLiteral("placing the names at rest (%1 placed)").arg(named)), placing);
    row("placing and painting the names at rest", painting);
    std::printf("\nDriver: %s\n", qPrintable(driver));
    if (!image.isEmpty()) {
        // The home view of the city, as a snapshot draws it.
        scene.build(root, config, true, {}, only);
        QString error;
        if (!renderImage(scene, size, 1, &error).save(image)) {
            std::fprintf(stderr, "%s\n", qPrintable(error.isEmpty() ? u"Cannot write " + image : error));
            return 1;
        }
    }
    return 0;
}
