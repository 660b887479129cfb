#include "ui/previewcommand.h"

#include "ui/previewpanel.h"
#include "ui/startup.h"
#include "ui/style.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QImageWriter>
#include <QJsonDocument>

#include <cstdio>

namespace {

int fail(const QString& line, int status)
{
    std::fputs(qPrintable(QStringLiteral("korvane: ") + line + u'\n'), stderr);
    return status;
}

} // namespace

int previewCommand(const SnapshotArguments& arguments)
{
    const QHash<QString, QString>& options = arguments.options;
    if (!options.contains(QStringLiteral("--out")))
        return fail(QStringLiteral("preview needs --out FILE.png"), 2);
    const QString out = options.value(QStringLiteral("--out"));
    QSize size(900, 1000);
    if (options.contains(QStringLiteral("--size"))) {
        const std::optional<QSize> given = parseSize(options.value(QStringLiteral("--size")));
        if (!given)
            return fail(QStringLiteral("--size is WIDTHxHEIGHT, such as 900x1000"), 2);
        size = *given;
    }
    const QString theme = options.value(QStringLiteral("--theme"), QStringLiteral("dark"));
    if (theme != u"dark" && theme != u"light")
        return fail(QStringLiteral("--theme is dark or light"), 2);
    std::optional<qint64> line;
    if (options.contains(QStringLiteral("--line"))) {
        bool number = false;
        line = options.value(QStringLiteral("--line")).toLongLong(&number);
        if (!number || *line < 1)
            return fail(QStringLiteral("--line is a line number from 1"), 2);
    }
    if (!QFileInfo(arguments.path).isFile())
        return fail(arguments.path + QStringLiteral(" is not a file."), 1);

    // A state of its own that remembers nothing, with the panel's choices set before the file comes.
    AppState state(nullptr, false);
    state.display().setDark(theme == u"dark");
    state.panels().setHexMode(arguments.flags.contains(QStringLiteral("--hex")));
    state.panels().setRawSource(arguments.flags.contains(QStringLiteral("--raw")));
    state.panels().setShowMinimap(arguments.flags.contains(QStringLiteral("--minimap")));
    PreviewPanel panel(state);
    applyTheme(panel, Theme::of(state.display().dark()));
    panel.resize(size);
    panel.setAttribute(Qt::WA_DontShowOnScreen);
    panel.show();
    PreviewController& preview = state.preview();
    preview.showFile(arguments.path);
    if (preview.reading()) {
        QEventLoop loop;
        QObject::connect(&preview, &PreviewController::linesChanged, &loop, [&] {
            if (!preview.reading())
                loop.quit();
        });
        loop.exec();
    }
    if (line)
        preview.showLine(*line - 1);
    QCoreApplication::processEvents();
    const QImage image = panel.grab().toImage();
    QImageWriter writer(out);
    if (!writer.write(image))
        return fail(
            QStringLiteral("could not write ") + out + QStringLiteral(": ") + writer.errorString(), 1);
    if (arguments.flags.contains(QStringLiteral("--print-state"))) {
        QJsonObject state = panel.facts();
        const std::optional<PreviewKind> kind = panel.shownKind();
        state.insert(
            QStringLiteral("previewKind"), kind ? QJsonValue(Preview::kindName(*kind)) : QJsonValue());
        std::fputs(QJsonDocument(state).toJson().constData(), stdout);
    }
    const std::shared_ptr<const PreviewContent>& content = preview.content();
    if (content && content->message)
        return fail(*content->message, 1);
    return 0;
}
