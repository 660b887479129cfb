#include "support/testsupport.h"

#include "model/filenode.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QThread>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSettings>

#include <sys/time.h>

TempFolder::TempFolder()
{
    EXPECT_TRUE(m_dir.isValid());
}

QString TempFolder::write(const QString& relative, const QByteArray& content) const
{
    const QString file = path(relative);
    QDir().mkpath(QFileInfo(file).absolutePath());
    QFile out(file);
    EXPECT_TRUE(out.open(QIODevice::WriteOnly | QIODevice::Truncate)) << file.toStdString();
    out.write(content);
    return file;
}

void TempFolder::makeFolder(const QString& relative) const
{
    QDir().mkpath(path(relative));
}

void TempFolder::touchAll(qint64 seconds) const
{
    const timeval times[2] = { { seconds, 0 }, { seconds, 0 } };
    QDirIterator it(path(), QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot | QDir::System,
        QDirIterator::Subdirectories);
    while (it.hasNext())
        lutimes(QFile::encodeName(it.next()).constData(), times);
}

GitRepo::GitRepo()
{
    git({ QStringLiteral("init"), QStringLiteral("-q"), QStringLiteral("-b"), QStringLiteral("main") });
}

QByteArray GitRepo::git(const QStringList& arguments, bool allowFailure, qint64 time) const
{
    QProcess process;
    process.setWorkingDirectory(path());
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("GIT_AUTHOR_NAME"), QStringLiteral("Test"));
    environment.insert(QStringLiteral("GIT_AUTHOR_EMAIL"), QStringLiteral("test@example.com"));
    environment.insert(QStringLiteral("GIT_COMMITTER_NAME"), QStringLiteral("Test"));
    environment.insert(QStringLiteral("GIT_COMMITTER_EMAIL"), QStringLiteral("test@example.com"));
    const QString date = QStringLiteral("@%1 +0000").arg(time);
    environment.insert(QStringLiteral("GIT_AUTHOR_DATE"), date);
    environment.insert(QStringLiteral("GIT_COMMITTER_DATE"), date);
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral("/usr/bin/git"), arguments);
    process.waitForFinished(-1);
    const bool ok = process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    if (!allowFailure) {
        EXPECT_TRUE(ok) << "git " << arguments.join(u' ').toStdString() << ": "
                        << process.readAllStandardError().toStdString();
    }
    return process.readAllStandardOutput();
}

void GitRepo::commitAll(const QString& message, qint64 time) const
{
    git({ QStringLiteral("add"), QStringLiteral("-A") });
    git({ QStringLiteral("commit"), QStringLiteral("-q"), QStringLiteral("--allow-empty"),
            QStringLiteral("-m"), message },
        false, time);
}

void GitRepo::writeIndex(QList<QByteArray> paths, const QByteArray& content) const
{
    const QString blobFile = write(QStringLiteral(".git/blob"), content);
    const QByteArray blob = QByteArray::fromHex(
        git({ QStringLiteral("hash-object"), QStringLiteral("-w"), blobFile }).trimmed());
    QFile::remove(blobFile);
    std::sort(paths.begin(), paths.end());
    const auto number = [](QByteArray& out, quint32 value, int bytes) {
        for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
            out += char((value >> shift) & 0xff);
    };
    QByteArray index("DIRC");
    number(index, 2, 4);
    number(index, quint32(paths.size()), 4);
    for (const QByteArray& path : std::as_const(paths)) {
        const qsizetype start = index.size();
        for (int field = 0; field < 6; ++field)
            number(index, 0, 4); // times, device and inode
        number(index, 0100644, 4);
        number(index, 0, 4); // user
        number(index, 0, 4); // group
        number(index, quint32(content.size()), 4);
        index += blob;
        number(index, quint32(std::min<qsizetype>(path.size(), 0xfff)), 2);
        index += path;
        // One to eight zero bytes end the name and pad the entry to a multiple of eight.
        index += QByteArray(8 - (index.size() - start) % 8, '\0');
    }
    index += QCryptographicHash::hash(index, QCryptographicHash::Sha1);
    QFile file(path(QStringLiteral(".git/index")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(index);
}

QByteArray GitRepo::gitWithInput(const QStringList& arguments, const QByteArray& input) const
{
    QProcess process;
    process.setWorkingDirectory(path());
    process.start(QStringLiteral("/usr/bin/git"), arguments);
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(-1);
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    return process.readAllStandardOutput().trimmed();
}

void GitRepo::commitMany(int count) const
{
    constexpr int files = 40;
    const auto name = [](int file) -> QByteArray {
        return "src/part" + QByteArray::number(file % 5) + "/file" + QByteArray::number(file) + ".c";
    };
    for (int file = 0; file < files; ++file)
        write(QString::fromLatin1(name(file)), "int x;\n");
    commitAll(QStringLiteral("start"), 1600000000);
    QByteArray stream;
    for (int i = 1; i <= count; ++i) {
        stream += "commit refs/heads/main\ncommitter T <t@e> " + QByteArray::number(1600000000 + i)
            + " +0000\ndata 2\nc\n" + (i == 1 ? "from refs/heads/main^0\n" : "");
        for (const int file : { i % files, (i * 7) % 13 }) {
            const QByteArray text = "int x = " + QByteArray::number(i) + ";\n";
            stream += "M 100644 inline " + name(file) + "\ndata " + QByteArray::number(text.size()) + "\n"
                + text;
        }
    }
    gitWithInput(
        { QStringLiteral("fast-import"), QStringLiteral("--quiet"), QStringLiteral("--force") }, stream);
    git({ QStringLiteral("reset"), QStringLiteral("--hard"), QStringLiteral("-q") });
}

QByteArray GitRepo::commitTreeBomb(int levels, int fanout) const
{
    const QByteArray blob = gitWithInput(
        { QStringLiteral("hash-object"), QStringLiteral("-w"), QStringLiteral("--stdin") }, "x\n");
    QByteArray tree = blob;
    QByteArray kind = "100644 blob ";
    for (int level = 0; level < levels; ++level) {
        QByteArray entries;
        for (int i = 0; i < fanout; ++i)
            entries += kind + tree + "\t" + (level == 0 ? "f" : "d") + QByteArray::number(i) + "\n";
        tree = gitWithInput({ QStringLiteral("mktree") }, entries);
        kind = "040000 tree ";
    }
    const QByteArray head = git({ QStringLiteral("rev-parse"), QStringLiteral("HEAD") }).trimmed();
    const QByteArray headTree = git({ QStringLiteral("rev-parse"), QStringLiteral("HEAD^{tree}") }).trimmed();
    const QByteArray listed = git({ QStringLiteral("ls-tree"), QString::fromLatin1(headTree) });
    const QByteArray bombTree
        = gitWithInput({ QStringLiteral("mktree") }, listed + "040000 tree " + tree + "\tbomb\n");
    const auto commit = [&](const QByteArray& of, const QByteArray& parent, const char* message) {
        return git({ QStringLiteral("commit-tree"), QString::fromLatin1(of), QStringLiteral("-p"),
                       QString::fromLatin1(parent), QStringLiteral("-m"), QString::fromLatin1(message) })
            .trimmed();
    };
    const QByteArray bomb = commit(bombTree, head, "bomb");
    const QByteArray gone = commit(headTree, bomb, "gone");
    git({ QStringLiteral("update-ref"), QStringLiteral("HEAD"), QString::fromLatin1(gone) });
    return bomb;
}

bool waitFor(const std::function<bool()>& done, int milliseconds)
{
    QElapsedTimer clock;
    clock.start();
    while (!done() && clock.elapsed() < milliseconds) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(2);
    }
    return done();
}

void useOwnSettings()
{
    static QTemporaryDir settings;
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
    QCoreApplication::setOrganizationName(QStringLiteral("Korvane"));
    QCoreApplication::setApplicationName(QStringLiteral("Korvane"));
}

QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

FileNode& addPath(FileNode& root, const QString& path, bool isDirectory)
{
    const qsizetype slash = path.lastIndexOf(u'/');
    FileNode* parent = &root;
    if (slash >= 0) {
        const QString above = path.left(slash);
        parent = const_cast<FileNode*>(root.find(above));
        if (!parent)
            parent = &addPath(root, above, true);
    }
    const QString name = path.mid(slash + 1);
    FileNode* node
        = parent->addChild(std::make_unique<FileNode>(u"/r/" + path, name, path, isDirectory, parent));
    if (!isDirectory)
        node->language = &Languages::languageFor(name);
    return *node;
}

QString manyFiles(const QString& folder, int count)
{
    QString text;
    for (int i = 0; i < count; ++i)
        text += QStringLiteral("%1/f%2.c 10\n").arg(folder).arg(i);
    return text;
}

std::unique_ptr<FileNode> makeTree(const QString& text)
{
    auto root
        = std::make_unique<FileNode>(QStringLiteral("/r"), QStringLiteral("r"), QString(), true, nullptr);
    for (const QString& line : text.split(u'\n', Qt::SkipEmptyParts)) {
        const QStringList words = line.split(u' ', Qt::SkipEmptyParts);
        FileNode& file = addPath(*root, words[0]);
        file.lines = words.value(1, QStringLiteral("1")).toLongLong();
        file.size = 10 * file.lines;
    }
    root->finalize(0);
    return root;
}

QString touching(const QString& marker)
{
    return u"sh -c 'touch \"" + marker + u"\"; cat'";
}

Outcome runHeadless(
    const QString& program, const QStringList& arguments, const QHash<QString, QString>& variables)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char* name : { "DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM" })
        environment.remove(QString::fromLatin1(name));
    for (auto it = variables.cbegin(); it != variables.cend(); ++it)
        environment.insert(it.key(), it.value());
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    process.waitForFinished(-1);
    return { process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
        process.readAllStandardOutput(), process.readAllStandardError() };
}

Outcome korvane(const QStringList& arguments)
{
    return runHeadless(QStringLiteral(KORVANE_BINARY), arguments);
}

QString dataPath(const QString& name)
{
    return QStringLiteral(KORVANE_TEST_DATA "/") + name;
}

void PrintTo(const GoldenCase& row, std::ostream* out)
{
    *out << row.name;
}

void expectCommandGolden(const QString& command, const GoldenCase& row)
{
    QStringList arguments { command, dataPath(QString::fromLatin1(row.input)) };
    arguments += QString::fromLatin1(row.flags).split(u' ', Qt::SkipEmptyParts);
    const Outcome run = korvane(arguments);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.err, QByteArray());
    expectGolden(run.out, dataPath(QString::fromLatin1(row.expected)));
}

void expectGolden(const QByteArray& actual, const QString& path)
{
    const QString actualPath = path + QStringLiteral(".actual");
    QFile::remove(actualPath);
    if (qEnvironmentVariableIsSet("KORVANE_UPDATE_GOLDEN")) {
        QFile out(path);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(actual);
        return;
    }
    if (actual == readFile(path))
        return;
    QFile out(actualPath);
    if (out.open(QIODevice::WriteOnly))
        out.write(actual);
    QProcess diff;
    diff.start(QStringLiteral("diff"), { QStringLiteral("-u"), path, actualPath });
    diff.waitForFinished(-1);
    ADD_FAILURE() << "output differs from " << path.toStdString() << "\n"
                  << diff.readAllStandardOutput().toStdString();
}

void writeImportingProject(const TempFolder& folder)
{
    folder.write(QStringLiteral("py/app/main.py"), "from .models import user\nimport os\n");
    folder.write(QStringLiteral("py/app/models/__init__.py"), "from .user import User\n");
    folder.write(QStringLiteral("py/app/models/user.py"), "from . import base\nfrom . import __init__\n");
    folder.write(QStringLiteral("py/app/models/base.py"), "import json\n");
    folder.write(QStringLiteral("ts/src/main.ts"),
        "import { fmt } from './util';\nimport { View } from './ui/view';\n");
    folder.write(QStringLiteral("ts/src/util/index.ts"), "export * from './format';\n");
    folder.write(QStringLiteral("ts/src/util/format.ts"), "import { View } from '../ui/view';\n");
    folder.write(QStringLiteral("ts/src/ui/view.ts"), "import { fmt } from '../util';\n");
    folder.write(QStringLiteral("c/src/main.c"), "#include \"util.h\"\n#include <stdio.h>\n");
    folder.write(QStringLiteral("c/src/util.c"), "#include \"../include/util.h\"\n");
    folder.write(QStringLiteral("c/include/util.h"), "#pragma once\n#include \"missing.h\"\n");
}
