#include "ui/desktop.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QProcess>
#include <QStandardPaths>
#include <QUrl>

namespace Desktop {

namespace {

// Editors that take the line before the file, and those that take it after the file's name.
const QStringList plusLineEditors { QStringLiteral("vi"), QStringLiteral("vim"), QStringLiteral("nvim"),
    QStringLiteral("gvim"), QStringLiteral("nano"), QStringLiteral("emacs"), QStringLiteral("emacsclient"),
    QStringLiteral("micro"), QStringLiteral("kak"), QStringLiteral("joe"), QStringLiteral("mcedit"),
    QStringLiteral("gedit") };
const QStringList gotoEditors { QStringLiteral("code"), QStringLiteral("codium"),
    QStringLiteral("code-oss") };
const QStringList colonLineEditors { QStringLiteral("subl"), QStringLiteral("zed") };

const QString fileManagerService = QStringLiteral("org.freedesktop.FileManager1");

// Whether a desktop entry of that id is installed in one of the folders of applications. An id
// stands for a path below such a folder, with "-" for each "/" ("kde4-kate.desktop").
bool installed(const QString& id, const QStringList& folders)
{
    for (const QString& folder : folders) {
        QString relative = id;
        for (;;) {
            if (QFileInfo::exists(folder + u'/' + relative))
                return true;
            const qsizetype dash = relative.indexOf(u'-');
            if (dash < 0)
                break;
            relative[dash] = u'/';
        }
    }
    return false;
}

std::optional<QString> openFolder(const QString& folder)
{
    if (handlers(QStringLiteral("inode/directory")).isEmpty()
        || !QDesktopServices::openUrl(QUrl::fromLocalFile(folder)))
        return QStringLiteral("Nothing on this system shows folders.");
    return std::nullopt;
}

bool fileManagerAnswers(QDBusConnection& bus)
{
    if (!bus.isConnected() || !bus.interface())
        return false;
    return bus.interface()->isServiceRegistered(fileManagerService).value()
        || bus.interface()->activatableServiceNames().value().contains(fileManagerService);
}

} // namespace

QStringList editorCommand(const QString& editor, const QString& file, int line)
{
    QStringList words = QProcess::splitCommand(editor);
    if (words.isEmpty())
        return {};
    const QString number = QString::number(std::max(line, 1));
    bool placed = false;
    for (QString& word : words) {
        placed = placed || word.contains(u"{file}") || word.contains(u"{line}");
        word.replace(QStringLiteral("{file}"), file).replace(QStringLiteral("{line}"), number);
    }
    if (placed)
        return words;
    const QString program = QFileInfo(words.first()).fileName();
    if (line > 0 && plusLineEditors.contains(program))
        return words << u'+' + number << file;
    if (line > 0 && gotoEditors.contains(program))
        return words << QStringLiteral("--goto") << file + u':' + number;
    if (line > 0 && colonLineEditors.contains(program))
        return words << file + u':' + number;
    return words << file;
}

QStringList handlers(const QString& mimeType)
{
    const QStringList applications = QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
    QStringList lists;
    for (const QString& folder : QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation))
        lists << folder + QStringLiteral("/mimeapps.list");
    for (const QString& folder : applications)
        lists << folder + QStringLiteral("/mimeapps.list") << folder + QStringLiteral("/defaults.list")
              << folder + QStringLiteral("/mimeinfo.cache");
    QHash<QString, QStringList> listed; // by type, in the order of the lists
    for (const QString& list : std::as_const(lists)) {
        QFile file(list);
        if (!file.open(QIODevice::ReadOnly))
            continue;
        bool removed = false;
        while (!file.atEnd()) {
            const QString line = QString::fromUtf8(file.readLine(64 * 1024)).trimmed();
            if (line.startsWith(u'[')) {
                removed = line == u"[Removed Associations]";
                continue;
            }
            const qsizetype equals = line.indexOf(u'=');
            if (removed || equals <= 0)
                continue;
            for (const QString& id : line.mid(equals + 1).split(u';', Qt::SkipEmptyParts))
                listed[line.left(equals).trimmed()].append(id.trimmed());
        }
    }
    // The type's own programs first, then those of the types it derives from.
    QStringList found;
    for (const QString& type :
        QStringList { mimeType } + QMimeDatabase().mimeTypeForName(mimeType).allAncestors()) {
        for (const QString& id : listed.value(type)) {
            if (!found.contains(id) && installed(id, applications))
                found << id;
        }
    }
    return found;
}

std::optional<QString> open(const QString& path, int line)
{
    if (QFileInfo(path).isDir())
        return openFolder(path);
    if (const QString editor = qEnvironmentVariable("KORVANE_EDITOR"); !editor.trimmed().isEmpty()) {
        QStringList command = editorCommand(editor, path, line);
        const QString program = command.isEmpty() ? editor : command.takeFirst();
        if (command.isEmpty() || !QProcess::startDetached(program, command))
            return QStringLiteral("KORVANE_EDITOR names ") + program
                + QStringLiteral(", which cannot be started.");
        return std::nullopt;
    }
    // By the name alone: reading the file to guess its type could block on a pipe.
    const QMimeType type = QMimeDatabase().mimeTypeForFile(path, QMimeDatabase::MatchExtension);
    if (!handlers(type.name()).isEmpty() && QDesktopServices::openUrl(QUrl::fromLocalFile(path)))
        return std::nullopt;
    const QFileInfo info(path);
    if (info.suffix().isEmpty())
        return QStringLiteral("Nothing on this system opens ") + info.fileName() + u'.';
    return QStringLiteral("Nothing on this system opens .") + info.suffix() + QStringLiteral(" files.");
}

std::optional<QString> reveal(
    const QString& path, QObject* context, std::function<void(const QString&)> failed)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!fileManagerAnswers(bus))
        return openFolder(QFileInfo(path).absolutePath());
    QDBusMessage call = QDBusMessage::createMethodCall(fileManagerService,
        QStringLiteral("/org/freedesktop/FileManager1"), fileManagerService, QStringLiteral("ShowItems"));
    call << QStringList { QUrl::fromLocalFile(path).toString() } << QString();
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, 5000), context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context, [watcher, path, failed] {
        watcher->deleteLater();
        if (!watcher->isError())
            return;
        if (const std::optional<QString> why = openFolder(QFileInfo(path).absolutePath()))
            failed(*why);
    });
    return std::nullopt;
}

} // namespace Desktop
