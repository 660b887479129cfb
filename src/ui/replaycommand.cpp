#include "ui/replaycommand.h"

#include "model/format.h"
#include "model/terminal.h"
#include "scene/historyscene.h"
#include "scene/offscreenview.h"
#include "scene/scenecontroller.h"
#include "state/timelinecontroller.h"
#include "ui/startup.h"

#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QFontMetricsF>
#include <QLocale>
#include <QPainter>
#include <QProcess>
#include <QSemaphore>
#include <QStandardPaths>
#include <QThreadPool>

#include <atomic>
#include <cmath>
#include <memory>

namespace {

constexpr qint64 markFadeMs = 1000;
constexpr int legendRows = 6; // the largest colours; a video has no room for a long key

int fail(const QString& line, int status = 1)
{
    Terminal::err(QStringLiteral("korvane: ") + line + u'\n');
    return status;
}

int badOption(const QString& problem)
{
    return fail(problem, 2);
}

bool isVideo(const QString& target)
{
    return target.endsWith(u".mp4", Qt::CaseInsensitive) || target.endsWith(u".webm", Qt::CaseInsensitive);
}

// A path with the links of the part of it that exists resolved, so that a link into a folder is
// seen for what it is.
QString resolvedPath(const QString& absolute)
{
    QString existing = absolute;
    QString rest;
    while (!QFileInfo::exists(existing) && existing != QDir::rootPath()) {
        const QFileInfo info(existing);
        rest = rest.isEmpty() ? info.fileName() : info.fileName() + u'/' + rest;
        existing = info.absolutePath();
    }
    const QString canonical = QFileInfo(existing).canonicalFilePath();
    return rest.isEmpty() ? canonical : QDir(canonical).filePath(rest);
}

// Where the frames go: numbered PNG files in a folder, or raw frames into ffmpeg.
class FrameSink {
public:
    virtual ~FrameSink() = default;
    // False, with the reason in error(), when the frame could not be written.
    virtual bool write(const QImage& frame, qint64 number) = 0;
    virtual bool finish() { return true; }
    QString error() const { return m_error; }

protected:
    QString m_error;
};

// PNG files are written on a thread of their own while the next frame is drawn, a few frames at most
// waiting; a little compression keeps them quick to write and still small.
class PngFolder : public FrameSink {
public:
    explicit PngFolder(QString folder)
        : m_folder(std::move(folder))
        , m_room(waiting)
    {
        m_pool.setMaxThreadCount(1);
    }
    ~PngFolder() override { m_pool.waitForDone(); }

    bool write(const QImage& frame, qint64 number) override
    {
        m_room.acquire();
        if (m_failed.load())
            return finish();
        const QString file
            = QDir(m_folder).filePath(QStringLiteral("frame-%1.png").arg(number, 5, 10, QChar(u'0')));
        m_pool.start([this, frame, file] {
            if (!frame.save(file, "PNG", pngQuality) && !m_failed.exchange(true))
                m_error = QStringLiteral("could not write ") + file;
            m_room.release();
        });
        return true;
    }

    bool finish() override
    {
        m_pool.waitForDone();
        return !m_failed.load();
    }

private:
    static constexpr int waiting = 3;
    static constexpr int pngQuality = 80; // Qt's scale: 0 is the smallest file, 100 the quickest

    QString m_folder;
    QThreadPool m_pool;
    QSemaphore m_room;
    std::atomic<bool> m_failed = false;
};

class FfmpegPipe : public FrameSink {
public:
    bool start(const QString& ffmpeg, const QString& target, QSize pixels, int fps)
    {
        QStringList arguments { QStringLiteral("-hide_banner"), QStringLiteral("-loglevel"),
            QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-f"), QStringLiteral("rawvideo"),
            QStringLiteral("-pix_fmt"), QStringLiteral("rgba"), QStringLiteral("-s"),
            QStringLiteral("%1x%2").arg(pixels.width()).arg(pixels.height()), QStringLiteral("-r"),
            QString::number(fps), QStringLiteral("-i"), QStringLiteral("-"),
            // Players want even sides for 4:2:0 colour.
            QStringLiteral("-vf"), QStringLiteral("pad=ceil(iw/2)*2:ceil(ih/2)*2"),
            QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p") };
        if (target.endsWith(u".webm", Qt::CaseInsensitive))
            arguments << QStringLiteral("-c:v") << QStringLiteral("libvpx-vp9") << QStringLiteral("-b:v")
                      << QStringLiteral("0") << QStringLiteral("-crf") << QStringLiteral("34")
                      << QStringLiteral("-row-mt") << QStringLiteral("1") << QStringLiteral("-deadline")
                      << QStringLiteral("realtime") << QStringLiteral("-cpu-used") << QStringLiteral("8");
        else
            arguments << QStringLiteral("-c:v") << QStringLiteral("libx264") << QStringLiteral("-preset")
                      << QStringLiteral("veryfast") << QStringLiteral("-crf") << QStringLiteral("20")
                      << QStringLiteral("-movflags") << QStringLiteral("+faststart");
        arguments << target;
        m_process.setProcessChannelMode(QProcess::SeparateChannels);
        m_process.setStandardOutputFile(QProcess::nullDevice());
        m_process.start(ffmpeg, arguments);
        if (m_process.waitForStarted())
            return true;
        m_error = QStringLiteral("could not start ffmpeg: ") + m_process.errorString();
        return false;
    }

    bool write(const QImage& frame, qint64) override
    {
        const QImage rgba = frame.convertToFormat(QImage::Format_RGBA8888);
        for (int y = 0; y < rgba.height(); ++y) {
            if (m_process.write(
                    reinterpret_cast<const char*>(rgba.constScanLine(y)), qint64(rgba.width()) * 4)
                < 0)
                return failed();
        }
        // Keeps no more than a few frames waiting in memory.
        while (m_process.bytesToWrite() > qint64(rgba.width()) * rgba.height() * 4 * 2) {
            if (!m_process.waitForBytesWritten(30000))
                return failed();
        }
        return true;
    }

    bool finish() override
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished(-1);
        if (m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0)
            return true;
        return failed();
    }

    ~FfmpegPipe() override
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished();
        }
    }

private:
    // Says why, in ffmpeg's own last words when it has any.
    bool failed()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.closeWriteChannel();
            m_process.waitForFinished(5000);
        }
        const QStringList lines
            = QString::fromLocal8Bit(m_process.readAllStandardError()).trimmed().split(u'\n');
        m_error = QStringLiteral("ffmpeg failed: ")
            + (lines.last().isEmpty() ? m_process.errorString() : lines.last().trimmed());
        return false;
    }

    QProcess m_process;
};

// Reads the history, waiting for the reader and showing its progress on a terminal.
bool readHistory(TimelineController& timeline, const QString& folder)
{
    Terminal::Progress progress;
    QEventLoop loop;
    QObject::connect(&timeline, &TimelineController::progressChanged, &loop,
        [&] { progress.update(timeline.progress().phase, timeline.progress().commits, 0); });
    QObject::connect(&timeline, &TimelineController::phaseChanged, &loop, [&] {
        if (timeline.phase() != TimelineController::Phase::indexing)
            loop.quit();
    });
    timeline.load(folder);
    if (timeline.phase() == TimelineController::Phase::indexing)
        loop.exec();
    progress.finish();
    return timeline.isReady();
}

// What is written on a frame: the repository's name above, the colour key at the right, and in a
// band along the bottom, below the city, the commit the frame stands at, with a line for how far
// the replay has come. Sizes follow the frame's height.
struct Caption {
    explicit Caption(QSize frame)
        : size(frame)
        , unit(std::max<qreal>(frame.height() / 720.0, 0.6))
        , margin(20 * unit)
    {
        title.setPixelSize(int(std::lround(22 * unit)));
        title.setWeight(QFont::DemiBold);
        body.setPixelSize(int(std::lround(15 * unit)));
        small.setPixelSize(int(std::lround(12 * unit)));
        band = int(std::ceil(QFontMetricsF(body).height() * 2 + QFontMetricsF(small).height() + 22 * unit));
    }
    // The part of the frame the city is drawn in.
    QSize scene() const { return { size.width(), size.height() - band }; }

    void paint(QPainter& painter, const QString& name, const TimelineController& timeline,
        const SceneController& scene, const Theme& theme) const;

    QSize size;
    qreal unit;
    qreal margin;
    QFont title;
    QFont body;
    QFont small;
    int band = 0;
};

void Caption::paint(QPainter& painter, const QString& name, const TimelineController& timeline,
    const SceneController& scene, const Theme& theme) const
{
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    const QFontMetricsF titleMetrics(title), bodyMetrics(body), smallMetrics(small);

    painter.setFont(title);
    painter.setPen(theme.ink);
    painter.drawText(QPointF(margin, margin + titleMetrics.ascent()), name);

    // The colour key, the largest colours first.
    qreal y = margin;
    painter.setFont(small);
    int shown = 0;
    for (const LegendEntry& entry : scene.legend()) {
        if (entry.count <= 0)
            continue;
        if (shown++ == legendRows)
            break;
        const qreal textWidth = smallMetrics.horizontalAdvance(entry.label);
        const qreal swatch = smallMetrics.height() * 0.7;
        const qreal x = size.width() - margin - textWidth;
        painter.fillRect(
            QRectF(x - swatch - 6 * unit, y + (smallMetrics.height() - swatch) / 2, swatch, swatch),
            entry.color);
        painter.setPen(theme.ink2);
        painter.drawText(QPointF(x, y + smallMetrics.ascent()), entry.label);
        y += smallMetrics.height() + 4 * unit;
    }

    const QRectF strip(0, size.height() - band, size.width(), band);
    painter.fillRect(strip, theme.paper);
    painter.setPen(theme.rule);
    painter.drawLine(strip.topLeft(), strip.topRight());

    const qint64 total = timeline.commitCount();
    const Commit* commit = timeline.commit();
    const QLocale c = QLocale::c();
    const QString counts = Format::count(timeline.fileCount(), u"file") + QStringLiteral(" · ")
        + Format::count(timeline.totalLines(), u"line");
    const QString where = commit
        ? QStringLiteral("Commit %1 of %2")
              .arg(Format::grouped(timeline.position() + 1), Format::grouped(total))
        : QStringLiteral("Before the first of %1").arg(Format::count(total, u"commit"));
    const qreal right = size.width() - margin;
    qreal line = strip.top() + 10 * unit + bodyMetrics.ascent();
    painter.setFont(body);
    painter.setPen(theme.ink2);
    const qreal countsWidth = bodyMetrics.horizontalAdvance(counts);
    painter.drawText(QPointF(right - countsWidth, line), counts);
    QString heading = commit
        ? c.toString(QDateTime::fromSecsSinceEpoch(commit->date), QStringLiteral("d MMM yyyy"))
        : QStringLiteral("The empty repository");
    painter.setPen(theme.ink);
    QFont headingFont = body;
    headingFont.setWeight(QFont::DemiBold);
    painter.setFont(headingFont);
    painter.drawText(QPointF(margin, line), heading);
    const qreal subjectLeft = margin + QFontMetricsF(headingFont).horizontalAdvance(heading) + 14 * unit;
    if (commit) {
        painter.setFont(body);
        painter.setPen(theme.ink);
        const qreal room = right - countsWidth - 24 * unit - subjectLeft;
        painter.drawText(
            QPointF(subjectLeft, line), bodyMetrics.elidedText(commit->subject, Qt::ElideRight, room));
    }
    line += bodyMetrics.height() + 2 * unit;
    painter.setFont(small);
    painter.setPen(theme.ink3);
    QString detail = where;
    if (commit)
        detail = commit->shortHash() + QStringLiteral(" · ") + commit->author + QStringLiteral(" · ") + where;
    painter.drawText(
        QPointF(margin, line + smallMetrics.ascent() - bodyMetrics.ascent() + bodyMetrics.height() * 0.2),
        smallMetrics.elidedText(detail, Qt::ElideRight, right - margin));

    // How far through the history the frame stands.
    const qreal barHeight = std::max<qreal>(3 * unit, 2);
    const QRectF track(0, size.height() - barHeight, size.width(), barHeight);
    painter.fillRect(track, theme.rule);
    if (total > 0)
        painter.fillRect(
            QRectF(track.topLeft(),
                QSizeF(track.width() * qreal(timeline.position() + 1) / qreal(total), barHeight)),
            theme.accent);
}

} // namespace

qint64 ReplayPlan::frameCount() const
{
    if (to <= from)
        return 1;
    // The first frame past `to` at this pace, which shows `to` itself.
    return qint64(std::ceil(double(to - from) * fps / speed - 1e-9)) + 1;
}

qint64 ReplayPlan::positionAt(qint64 frame) const
{
    if (frame >= frameCount() - 1)
        return std::max(from, to);
    return std::min(to, from + qint64(std::floor(double(frame) * speed / fps + 1e-9)));
}

int replayCommand(const SnapshotArguments& arguments)
{
    const auto option = [&](const char* name) { return arguments.options.value(QString::fromLatin1(name)); };
    const auto has = [&](const char* name) { return arguments.options.contains(QString::fromLatin1(name)); };
    const QString folder = arguments.path;
    if (!QFileInfo(folder).isDir())
        return fail(folder + QStringLiteral(" is not a folder."));
    if (!has("--out"))
        return badOption(QStringLiteral("replay needs --out FOLDER, FILE.mp4 or FILE.webm"));
    const QString target = option("--out");

    ReplayPlan plan;
    bool ok = true;
    if (has("--speed")) {
        plan.speed = option("--speed").toDouble(&ok);
        if (!ok || !(plan.speed >= TimelineController::minSpeed && plan.speed <= 1000))
            return badOption(QStringLiteral("--speed is commits a second, from 0.5 to 1000"));
    }
    if (has("--fps")) {
        plan.fps = option("--fps").toInt(&ok);
        if (!ok || plan.fps < 1 || plan.fps > 120)
            return badOption(QStringLiteral("--fps is frames a second, from 1 to 120"));
    }
    QSize size(1280, 720);
    if (has("--size")) {
        const auto parsed = parseSize(option("--size"));
        if (!parsed || parsed->width() < 160 || parsed->height() < 120 || parsed->width() > 7680
            || parsed->height() > 4320)
            return badOption(
                QStringLiteral("--size is WIDTHxHEIGHT, from 160x120 to 7680x4320, such as 1280x720"));
        size = *parsed;
    }
    const std::optional<CommitChoice> from
        = CommitChoice::parse(has("--from") ? option("--from") : QStringLiteral("start"));
    if (!from)
        return badOption(QStringLiteral("--from is N, start, middle, end or a commit's hash"));
    const std::optional<CommitChoice> to
        = CommitChoice::parse(has("--to") ? option("--to") : QStringLiteral("end"));
    if (!to)
        return badOption(QStringLiteral("--to is N, start, middle, end or a commit's hash"));
    bool dark = true;
    if (has("--theme")) {
        const QString theme = option("--theme");
        if (theme != u"dark" && theme != u"light")
            return badOption(QStringLiteral("--theme is dark or light"));
        dark = theme == u"dark";
    }
    ColorMode color = ColorMode::language;
    if (has("--color")) {
        const auto mode = modeFromName<ColorMode>(option("--color"));
        if (!mode)
            return badOption(QStringLiteral("--color is language, age, churn or status"));
        color = *mode;
    }

    // Nothing is written into the folder being shown.
    const QString repository = QDir(folder).canonicalPath();
    const QString absoluteTarget = QDir::cleanPath(QDir::current().absoluteFilePath(target));
    const QString resolved = resolvedPath(absoluteTarget);
    if (resolved == repository || resolved.startsWith(repository + u'/'))
        return fail(target + QStringLiteral(" is inside ") + folder
            + QStringLiteral("; Korvane writes nothing into the folder it shows. Give a place outside it."));
    QString ffmpeg;
    if (isVideo(target)) {
        ffmpeg = QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
        if (ffmpeg.isEmpty())
            return fail(
                QStringLiteral("making a video needs ffmpeg, which is not on PATH: install it (such as "
                               "\"sudo apt install ffmpeg\"), or give --out a folder for PNG frames."));
    } else {
        const QDir out(absoluteTarget);
        if (QFileInfo(absoluteTarget).exists() && !QFileInfo(absoluteTarget).isDir())
            return fail(target + QStringLiteral(" is a file; give --out a folder, FILE.mp4 or FILE.webm."));
        if (out.exists() && !out.isEmpty())
            return fail(target + QStringLiteral(" is not empty; give a new or empty folder for the frames."));
    }

    QThreadPool pool;
    TimelineController timeline(pool);
    if (!readHistory(timeline, folder))
        return fail(timeline.error());
    const auto fromPosition = from->resolve(*timeline.index());
    const auto toPosition = to->resolve(*timeline.index());
    if (!fromPosition || !toPosition)
        return fail(QStringLiteral("no commit \"%1\" in the history of %2")
                        .arg(fromPosition ? to->text : from->text, folder));
    plan.from = *fromPosition;
    plan.to = *toPosition;
    if (plan.to < plan.from)
        return badOption(QStringLiteral("--from must not come after --to"));

    const Theme& theme = Theme::of(dark);
    const Caption caption(size);
    SceneController scene;
    scene.camera().setAspect(float(caption.scene().width()) / float(caption.scene().height()));
    buildHistoryScene(
        scene, timeline, { VisualizationMode::history, color, HeightMode::lines, 1, theme }, true);
    // Smooth edges rather than shadows: shadows of moving buildings cost a frame of their own on a
    // software renderer, and the window leaves them out while it plays too.
    scene.setShadowsEnabled(false);
    scene.camera().settle();
    OffscreenView view;
    if (!view.create(caption.scene()))
        return fail(view.error());

    const QString folderOut = isVideo(target) ? QFileInfo(absoluteTarget).absolutePath() : absoluteTarget;
    if (!QDir().mkpath(folderOut))
        return fail(QStringLiteral("could not make the folder ") + folderOut);
    std::unique_ptr<FrameSink> sink;
    if (isVideo(target)) {
        auto pipe = std::make_unique<FfmpegPipe>();
        if (!pipe->start(ffmpeg, absoluteTarget, size, plan.fps))
            return fail(pipe->error());
        sink = std::move(pipe);
    } else {
        sink = std::make_unique<PngFolder>(absoluteTarget);
    }

    const QString name = QFileInfo(repository).fileName();
    FadingMarks marks(markFadeMs);
    const qint64 frames = plan.frameCount();
    Terminal::Progress progress;
    timeline.move(plan.from);
    remeasureHistory(scene);
    for (qint64 frame = 0; frame < frames; ++frame) {
        const qint64 now = frame * 1000 / plan.fps;
        const qint64 position = plan.positionAt(frame);
        if (position != timeline.position()) {
            timeline.move(position);
            remeasureHistory(scene);
            marks.mark(timeline.lastTouched(), scene, now);
        }
        marks.apply(scene, now);
        view.draw(scene);
        QImage image(size, QImage::Format_RGB32);
        QPainter painter(&image);
        painter.drawImage(0, 0, view.image(scene));
        caption.paint(painter, name, timeline, scene, theme);
        painter.end();
        if (!sink->write(image, frame)) {
            progress.finish();
            return fail(sink->error());
        }
        progress.update(QStringLiteral("Drawing frames"), frame + 1, frames);
    }
    progress.finish();
    if (!sink->finish())
        return fail(sink->error());
    Terminal::out(QStringLiteral("%1, from %2 to commit %3 of %4, into %5\n")
                      .arg(Format::count(frames, u"frame"),
                          plan.from < 0 ? QStringLiteral("the empty repository")
                                        : u"commit " + Format::grouped(plan.from + 1),
                          Format::grouped(plan.to + 1), Format::grouped(timeline.commitCount()), target));
    return 0;
}
