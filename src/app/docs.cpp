// korvane_docs FOLDER DATE: writes korvane's man page (korvane.1) and its completions for bash
// (korvane.bash), zsh (_korvane) and fish (korvane.fish) into FOLDER, from the command table, so
// that a command added to the table is documented and completed without another step. DATE is the
// release's day for the man page. Run by the build, whose install takes the files from there.

#include "app/completions.h"
#include "app/manpage.h"

#include "model/buildinfo.h"

#include <QDir>
#include <QFile>

#include <cstdio>

int main(int argc, char* argv[])
{
    if (argc != 3) {
        std::fputs("Usage: korvane_docs FOLDER DATE\n", stderr);
        return 2;
    }
    const QString folder = QString::fromLocal8Bit(argv[1]);
    const QString date = QString::fromLocal8Bit(argv[2]);
    QDir().mkpath(folder);
    const std::pair<const char*, QByteArray> files[] = {
        { "korvane.1", manPage(BuildInfo::version(), date) },
        { "korvane.bash", bashCompletion() },
        { "_korvane", zshCompletion() },
        { "korvane.fish", fishCompletion() },
    };
    for (const auto& [name, content] : files) {
        QFile file(folder + u'/' + QLatin1StringView(name));
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(content) != content.size()) {
            std::fprintf(stderr, "korvane_docs: could not write %s: %s\n", qPrintable(file.fileName()),
                qPrintable(file.errorString()));
            return 1;
        }
    }
    return 0;
}
