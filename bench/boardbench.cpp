// Times a board or schematic: reading it from its text into a flat drawing (the S-expressions and
// then the items), and painting the whole of it fitted into an image, each the median of several
// runs. With --out it also saves the picture, to look at. bench/board.sh runs it on a Release build.
#include "benchtiming.h"
#include "engineering/drawing.h"
#include "scene/theme.h"
#include "ui/drawingview.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include <cstdio>

namespace {

void usage()
{
    std::fputs("usage: board_bench FILE.kicad_pcb|FILE.kicad_sch [--runs N] [--size WxH] [--light] "
               "[--zoom FACTOR] [--at X,Y] [--out FILE.png]\n",
        stderr);
}

const char* kindName(DrawingItemKind kind)
{
    static const char* const names[] = { "track", "track arc", "via", "pad", "line", "arc", "circle",
        "polygon", "zone", "text", "wire", "bus", "junction", "no-connect", "label", "global label",
        "hierarchical label", "pin", "sheet", "frame" };
    return names[int(kind)];
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
    int runs = 11;
    QSize size(1400, 900);
    bool light = false;
    double zoom = 1;
    std::optional<QPointF> at;
    QString out;
    for (qsizetype i = 2; i < args.size(); ++i) {
        const bool hasValue = i + 1 < args.size();
        if (args[i] == u"--light") {
            light = true;
        } else if (args[i] == u"--runs" && hasValue) {
            runs = std::max(args[++i].toInt(), 1);
        } else if (args[i] == u"--size" && hasValue) {
            const QStringList wh = args[++i].split(u'x');
            size = QSize(wh.value(0).toInt(), wh.value(1).toInt());
        } else if (args[i] == u"--zoom" && hasValue) {
            zoom = args[++i].toDouble();
        } else if (args[i] == u"--at" && hasValue) {
            const QStringList xy = args[++i].split(u',');
            at = QPointF(xy.value(0).toDouble(), xy.value(1).toDouble());
        } else if (args[i] == u"--out" && hasValue) {
            out = args[++i];
        } else {
            usage();
            return 2;
        }
    }
    if (size.isEmpty() || !(zoom > 0)) {
        usage();
        return 2;
    }

    QFile file(args[1]);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(args[1]));
        return 1;
    }
    const QByteArray text = file.readAll();
    const QByteArray name = QFileInfo(args[1]).fileName().toUtf8();
    std::optional<Drawing> drawing;
    const Timing read = milliseconds(runs, [&](int) { drawing = readDrawing(name, text); });
    if (!drawing) {
        std::fprintf(stderr, "%s is not a board or a schematic\n", qPrintable(args[1]));
        return 1;
    }

    const Theme& theme = Theme::of(!light);
    QTransform transform = fitTransform(drawing->bounds, size, 16);
    if (zoom != 1 || at) {
        const QPointF centre = transform.map(at.value_or(drawing->bounds.center()));
        transform *= QTransform::fromTranslate(-centre.x(), -centre.y()) * QTransform::fromScale(zoom, zoom)
            * QTransform::fromTranslate(size.width() / 2.0, size.height() / 2.0);
    }
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    const Timing paint = milliseconds(runs, [&](int) {
        image.fill(theme.paper);
        QPainter painter(&image);
        paintDrawing(painter, *drawing, transform, theme);
    });

    std::printf("%s: %.1f MiB, %zu items, %zu points\n", qPrintable(args[1]), double(text.size()) / 1048576,
        drawing->items.size(), drawing->points.size());
    for (int kind = 0; kind <= int(DrawingItemKind::frame); ++kind) {
        if (const qsizetype count = drawing->count(DrawingItemKind(kind)))
            std::printf("  %-19s %lld\n", kindName(DrawingItemKind(kind)), static_cast<long long>(count));
    }
    std::printf("\n| step (%d runs) | median (ms) | p90 (ms) | processor (ms) |\n|---|---|---|---|\n", runs);
    std::printf("| read | %.1f | %.1f | %.1f |\n", read.median, read.p90, read.cpu);
    std::printf("| paint %dx%d | %.1f | %.1f | %.1f |\n", size.width(), size.height(), paint.median,
        paint.p90, paint.cpu);
    if (!out.isEmpty() && !image.save(out)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(out));
        return 1;
    }
    return 0;
}
