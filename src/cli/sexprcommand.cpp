#include "cli/commandline.h"
#include "cli/jsonwriter.h"
#include "engineering/sexpr.h"
#include "model/terminal.h"
#include "scan/beneath.h"

#include <QFile>
#include <QFileInfo>
#include <QMap>

#include <cstdio>

namespace Cli {

namespace {

// Deep files stop indenting further at 40 levels, so output grows with the text, not its square.
QString indent(qsizetype depth)
{
    return QString(2 * std::min<qsizetype>(depth, 40), u' ');
}

// An atom as it must be written to read back the same: bare when it can be, else quoted.
QString written(const SExpr& atom)
{
    const QString text = atom.text();
    static const QString special = QStringLiteral(" \t\n\r()\";\\");
    if (!text.isEmpty()
        && std::none_of(text.begin(), text.end(), [](QChar c) { return special.contains(c); }))
        return text;
    QString quoted = QStringLiteral("\"");
    for (const QChar c : text) {
        if (c == u'"' || c == u'\\')
            quoted += u'\\';
        quoted += c == u'\n' ? QStringLiteral("\\n") : c == u'\t' ? QStringLiteral("\\t") : QString(c);
    }
    return quoted + u'"';
}

bool isFlat(const SExpr& list)
{
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (list.item(i).isList())
            return false;
    }
    return true;
}

// Lists of atoms on one line; any other list opens with its leading atoms and closes on a line of
// its own.
// Written with a stack of its own, as a file may nest far deeper than the call stack goes.
QString tree(const SExpr& root)
{
    struct Open {
        SExpr list;
        qsizetype next;
        qsizetype depth;
    };
    std::vector<Open> open;
    QString out;
    const auto write = [&](const SExpr& value, qsizetype depth) {
        if (value.isAtom()) {
            out += indent(depth) + written(value) + u'\n';
        } else if (isFlat(value)) {
            QStringList atoms;
            for (qsizetype i = 0; i < value.size(); ++i)
                atoms << written(value.item(i));
            out += indent(depth) + u'(' + atoms.join(u' ') + QStringLiteral(")\n");
        } else {
            // Leading atoms, such as a name and a reference, stay on the opening line.
            qsizetype next = 0;
            QString opening = indent(depth) + u'(';
            for (; value.item(next).isAtom(); ++next)
                opening += (next > 0 ? QStringLiteral(" ") : QString()) + written(value.item(next));
            out += opening + u'\n';
            open.push_back({ value, next, depth });
        }
    };
    write(root, 0);
    while (!open.empty()) {
        Open& top = open.back();
        if (top.next < top.list.size()) {
            const SExpr item = top.list.item(top.next++);
            write(item, top.depth + 1);
        } else {
            out += indent(top.depth) + QStringLiteral(")\n");
            open.pop_back();
        }
    }
    return out;
}

// A list is an array, an atom a string.
QByteArray json(const SExpr& root)
{
    JsonWriter writer;
    struct Open {
        SExpr list;
        qsizetype next;
    };
    std::vector<Open> open;
    const auto write = [&](const SExpr& value) {
        if (value.isAtom()) {
            writer.value(nullptr, value.text());
        } else {
            writer.beginArray();
            open.push_back({ value, 0 });
        }
    };
    write(root);
    while (!open.empty()) {
        Open& top = open.back();
        if (top.next < top.list.size()) {
            write(top.list.item(top.next++));
        } else {
            writer.endArray();
            open.pop_back();
        }
    }
    return writer.bytes();
}

// The file's own name, then its top-level lists counted by name, most first.
QString summary(const SExpr& root)
{
    QMap<QString, qint64> counts;
    for (qsizetype i = 0; i < root.size(); ++i) {
        if (const auto name = root.item(i).name())
            ++counts[*name];
    }
    QList<std::pair<QString, qint64>> rows(counts.keyValueBegin(), counts.keyValueEnd());
    std::stable_sort(
        rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
    qsizetype width = 4;
    for (const auto& row : std::as_const(rows))
        width = std::max(width, row.first.size());
    QString out = root.name().value_or(QStringLiteral("(unnamed)")) + u'\n';
    for (const auto& [name, count] : std::as_const(rows))
        out += QStringLiteral("  ") + name.leftJustified(width) + Format::grouped(count).rightJustified(10)
            + u'\n';
    return out;
}

// Boards and schematics run to tens of megabytes; a larger file is read this far.
constexpr qint64 largestFile = qint64(256) * 1024 * 1024;

} // namespace

int sexpr(const Arguments& arguments)
{
    const QString path = arguments.positional.first();
    const bool asJson = arguments.flags.contains(QStringLiteral("--json"));
    const bool asSummary = arguments.flags.contains(QStringLiteral("--summary"));
    if (asJson && asSummary) {
        Terminal::err(QStringLiteral("korvane: --json and --summary go one at a time\n"));
        return 2;
    }
    if (!QFileInfo(path).isFile()) {
        Terminal::err(path + QStringLiteral(" is not a file.\n"));
        return 1;
    }
    bool whole = false;
    const std::optional<QByteArray> bytes = Beneath::readFile(path, largestFile, &whole);
    if (!bytes) {
        Terminal::err(path + QStringLiteral(" can't be read.\n"));
        return 1;
    }
    if (!whole) {
        Terminal::err(QStringLiteral("korvane: only the first %1 MiB of %2 were read.\n")
                          .arg(largestFile >> 20)
                          .arg(path));
    }
    // A file of S-expressions is a list; a bare atom (a binary blob reads as one) is not printed.
    const std::optional<SExpr> root = SExpr::parse(*bytes);
    if (!root || !root->isList()) {
        Terminal::err(path + QStringLiteral(" holds no S-expression.\n"));
        return 1;
    }
    if (asJson) {
        const QByteArray out = json(*root);
        Terminal::out(out);
    } else {
        Terminal::out(asSummary ? summary(*root) : tree(*root));
    }
    return 0;
}

} // namespace Cli
