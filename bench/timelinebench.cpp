// Times the history view: reading a repository's history through the timeline (the history cache
// answers once it has seen the head), moving the playhead from the empty city to the last commit
// and back, and playing: one commit a frame, each frame the playhead's move, the buildings'
// new heights and marks, and the frame drawn offscreen, beside a frame with nothing changed. Needs a
// display; bench/timeline.sh runs it under xvfb-run.
#include "benchtiming.h"
#include "scene/historyscene.h"
#include "scene/offscreenview.h"
#include "scene/renderer.h"
#include "scene/scenecontroller.h"
#include "state/timelinecontroller.h"

#include <QEventLoop>
#include <QGuiApplication>

#include <cstdio>

int main(int argc, char* argv[])
{
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 2) {
        std::fputs("usage: timeline_bench REPOSITORY [--size WxH] [--frames N]\n", stderr);
        return 2;
    }
    QSize size(1600, 1000);
    int frames = 300;
    for (qsizetype i = 2; i + 1 < args.size(); i += 2) {
        if (args[i] == u"--size") {
            const QStringList wh = args[i + 1].split(u'x');
            size = QSize(wh.value(0).toInt(), wh.value(1).toInt());
        } else if (args[i] == u"--frames") {
            frames = std::max(args[i + 1].toInt(), 2);
        }
    }

    QThreadPool pool;
    TimelineController timeline(pool);
    QElapsedTimer clock;
    clock.start();
    timeline.load(args[1]);
    QEventLoop loop;
    QObject::connect(&timeline, &TimelineController::phaseChanged, &loop, [&] {
        if (timeline.phase() != TimelineController::Phase::indexing)
            loop.quit();
    });
    loop.exec();
    const double readMs = double(clock.nsecsElapsed()) / 1e6;
    if (!timeline.isReady()) {
        std::fprintf(stderr, "%s\n", qPrintable(timeline.error()));
        return 1;
    }
    const qint64 last = timeline.commitCount() - 1;
    std::printf("History: %lld commits, %lld paths; read and laid out as a city in %.0f ms\n\n",
        static_cast<long long>(timeline.commitCount()),
        static_cast<long long>(timeline.index()->paths.size()), readMs);
    std::puts("| step | median (ms) | 90th percentile (ms) | processor time, median (ms) |");
    std::puts("|---|---|---|---|");
    const auto row = [](const QString& what, const Timing& t) {
        std::printf("| %s | %.2f | %.2f | %.2f |\n", qPrintable(what), t.median, t.p90, t.cpu);
    };
    row(QStringLiteral("move from before the first commit to the last"), milliseconds(9, [&](int) {
        timeline.move(-1);
        timeline.move(last);
    }));
    row(QStringLiteral("move from the last commit back to before the first"), milliseconds(9, [&](int) {
        timeline.move(last);
        timeline.move(-1);
    }));

    SceneController scene;
    SceneConfig config;
    config.mode = VisualizationMode::history;
    buildHistoryScene(scene, timeline, config, true);
    scene.camera().setAspect(float(size.width()) / float(size.height()));
    scene.camera().settle();
    OffscreenView view;
    if (!view.create(size, 1, Renderer::interactiveSamples())) {
        std::fprintf(stderr, "%s\n", qPrintable(view.error()));
        return 1;
    }
    const QString label = QStringLiteral(", %1×%2").arg(size.width()).arg(size.height());
    // Playing from the middle of the history, one commit a frame, the marks of the last frames
    // fading, shadows off as in the window while it plays.
    const qint64 from = std::max<qint64>(-1, last / 2 - frames / 2);
    timeline.move(from);
    remeasureHistory(scene);
    scene.setShadowsEnabled(false);
    view.draw(scene);
    view.finish();
    const Timing still = milliseconds(frames, [&](int) {
        view.draw(scene);
        view.finish();
    });
    FadingMarks marks;
    const Timing playing = milliseconds(frames, [&](int frame) {
        timeline.move(timeline.position() + 1);
        remeasureHistory(scene);
        const qint64 now = frame * 1000 / 30;
        marks.mark(timeline.lastTouched(), scene, now);
        marks.apply(scene, now);
        view.draw(scene);
        view.finish();
    });
    row(u"frame with nothing changed" + label, still);
    row(u"frame while playing, one commit a frame" + label, playing);
    std::printf("\nDriver: %s\n", qPrintable(view.renderer().driver()));
    return 0;
}
