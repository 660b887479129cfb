// The preview panel on a large text file, in process: from asking for the file to its first screen
// drawn, the lines counted on the worker, the peak memory above what the panel held before, and
// drawing one screen further down.

#include "benchtiming.h"
#include "ui/previewpanel.h"
#include "ui/style.h"

#include <QApplication>
#include <QEventLoop>
#include <QFile>

#include <cstdio>

namespace {

// VmRSS or VmHWM of this process, in MiB.
double memory(const char* field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(qsizetype(std::strlen(field))).trimmed().split(' ').front().toDouble() / 1024;
    }
    return 0;
}

} // namespace

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    if (argc < 2) {
        std::fputs("usage: preview_bench FILE [--minimap]\n", stderr);
        return 2;
    }
    const QString path = QString::fromLocal8Bit(argv[1]);
    AppState state(nullptr, false);
    state.panels().setShowMinimap(argc > 2 && QByteArray(argv[2]) == "--minimap");
    PreviewPanel panel(state);
    applyTheme(panel, Theme::darkPalette());
    panel.resize(900, 1000);
    panel.setAttribute(Qt::WA_DontShowOnScreen);
    panel.show();
    QPixmap frame(panel.size());
    panel.render(&frame);
    const double before = memory("VmRSS:");

    PreviewController& preview = state.preview();
    QElapsedTimer clock;
    clock.start();
    preview.showFile(path);
    panel.render(&frame);
    const double opened = double(clock.nsecsElapsed()) / 1e6;
    if (preview.reading()) {
        QEventLoop loop;
        QObject::connect(&preview, &PreviewController::linesChanged, &loop, [&] {
            if (!preview.reading())
                loop.quit();
        });
        loop.exec();
    }
    const double counted = double(clock.nsecsElapsed()) / 1e6;
    const double peak = memory("VmHWM:") - before;
    const Timing screen = milliseconds(41, [&](int) {
        preview.page(1);
        panel.render(&frame);
    });
    // The same far down a long file, where the colours start from a line far above.
    preview.showLine(preview.content()->text->lineCount() * 3 / 4);
    const Timing far = milliseconds(41, [&](int i) {
        preview.page(i % 2 ? -1 : 1);
        panel.render(&frame);
    });
    std::printf(
        "file: %s, %s\n", argv[1], qPrintable(panel.facts().value(QStringLiteral("facts")).toString()));
    std::printf("first screen drawn: %.1f ms\n", opened);
    std::printf("every line counted: %.1f ms\n", counted);
    std::printf("peak memory above the panel before: %.1f MiB\n", peak);
    std::printf("one screen down, drawn: median %.2f ms, p90 %.2f ms\n", screen.median, screen.p90);
    std::printf("one screen, three quarters down: median %.2f ms, p90 %.2f ms\n", far.median, far.p90);
    return 0;
}
