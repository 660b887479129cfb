#include "cli/synopsis.h"

#include <QRegularExpression>

namespace Cli {

namespace {

Value readValue(const QString& written, bool positional)
{
    Value value { written, ValueKind::text, {} };
    static const QRegularExpression choice(QStringLiteral("^[a-z][a-z0-9-]*$"));
    bool file = false;
    bool folder = false;
    for (const QString& alternative : written.split(u'|', Qt::SkipEmptyParts)) {
        if (choice.match(alternative).hasMatch()) {
            value.choices << alternative;
        } else if (alternative.contains(u"FILE")) {
            file = true;
        } else if (alternative.contains(u"FOLDER") || alternative.contains(u"DIR")) {
            folder = true;
        } else if (alternative.contains(u"PATH")) {
            (positional ? folder : file) = true;
        }
    }
    // A file's place takes folders too; only a place for folders alone leaves files out.
    value.kind = file ? ValueKind::file : folder ? ValueKind::folder : ValueKind::text;
    return value;
}

} // namespace

Synopsis readSynopsis(const QString& synopsis)
{
    Synopsis read;
    QStringList words = synopsis.split(u' ', Qt::SkipEmptyParts);
    if (!words.isEmpty())
        words.removeFirst(); // the command's name
    // The option still waiting for its value (-1 for none), and the bracket depth it stands at.
    qsizetype pending = -1;
    int depth = 0;
    int pendingDepth = 0;
    for (const QString& word : std::as_const(words)) {
        QString bare = word;
        int opened = 0;
        while (bare.startsWith(u'[')) {
            bare.remove(0, 1);
            ++opened;
        }
        int closed = 0;
        while (bare.endsWith(u']') && bare.count(u'[') < bare.count(u']')) {
            bare.chop(1);
            ++closed;
        }
        depth += opened;
        if (bare == u"|") {
            pending = -1;
        } else if (bare.startsWith(u"--")) {
            read.options.append(OptionWord { bare, std::nullopt });
            pending = closed == 0 ? read.options.size() - 1 : -1;
            pendingDepth = depth;
        } else if (!bare.isEmpty()) {
            // A value written with optional repeats ("PATH[,PATH…]") is named by its first part.
            const QString value = bare.left(bare.indexOf(u'['));
            if (pending >= 0 && opened == 0 && depth == pendingDepth)
                read.options[pending].value = readValue(value, false);
            else
                read.arguments.append(readValue(value, true));
            pending = -1;
        }
        depth -= closed;
        if (closed > 0)
            pending = -1;
    }
    return read;
}

} // namespace Cli
