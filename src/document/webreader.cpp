#include "document/webreader.h"

#include "document/markup/markupreader.h"
#include "document/native/creader.h"
#include "document/native/rustreader.h"
#include "document/scriptsymbol.h"
#include "text/bytetext.h"

namespace WebReader {

namespace {

using Node = WebDocument::Node;

enum class Source { native, rust, page, stylesheet, script };

template <typename Tree> qsizetype countOf(const std::vector<Tree>& list)
{
    qsizetype count = qsizetype(list.size());
    for (const Tree& item : list)
        count += countOf(item.children);
    return count;
}

// Handlers gathered under events add a few grouping nodes.
qsizetype withRoom(qsizetype nodes)
{
    return nodes + nodes / 8 + 16;
}

std::optional<Source> sourceOf(const QString& extension)
{
    static const QStringList native { QStringLiteral("c"), QStringLiteral("h"), QStringLiteral("cpp"),
        QStringLiteral("cc"), QStringLiteral("cxx"), QStringLiteral("c++"), QStringLiteral("hpp"),
        QStringLiteral("hh"), QStringLiteral("hxx"), QStringLiteral("h++"), QStringLiteral("ino"),
        QStringLiteral("inl") };
    static const QStringList pages { QStringLiteral("html"), QStringLiteral("htm"), QStringLiteral("xhtml") };
    static const QStringList stylesheets { QStringLiteral("css"), QStringLiteral("scss"),
        QStringLiteral("less") };
    static const QStringList scripts { QStringLiteral("js"), QStringLiteral("mjs"), QStringLiteral("cjs"),
        QStringLiteral("jsx"), QStringLiteral("ts"), QStringLiteral("tsx"), QStringLiteral("mts"),
        QStringLiteral("cts") };
    if (native.contains(extension))
        return Source::native;
    if (extension == u"rs")
        return Source::rust;
    if (pages.contains(extension))
        return Source::page;
    if (stylesheets.contains(extension))
        return Source::stylesheet;
    if (scripts.contains(extension))
        return Source::script;
    return std::nullopt;
}

void readPage(Builder& builder, QByteArrayView utf8)
{
    const MarkupReader::Reading reading = MarkupReader::read(utf8);
    builder.document.truncated = builder.document.truncated || reading.truncated;
    builder.reserve(withRoom(countOf(reading.elements)));
    for (const MarkupElement& element : reading.elements)
        builder.addElement(element, std::nullopt);
    WebDocument::Stats& stats = builder.document.stats;
    stats.markupLines = std::max<qint64>(stats.lines - stats.scriptLines - stats.styleLines, 0);
}

// The root of a native file, its includes, then its symbols.
void addNative(Builder& builder, const QString& rootName, const std::vector<ScriptSymbol>& symbols,
    const std::vector<CReader::Include>& includes, const QString& includeTag, bool cSystem)
{
    WebDocument& document = builder.document;
    builder.reserve(withRoom(countOf(symbols) + qsizetype(includes.size())));
    Node root;
    root.role = WebRole::scriptBlock;
    root.stream = WebStream::script;
    root.name = rootName;
    root.detail = QString::number(symbols.size()) + QStringLiteral(" top-level declarations");
    root.tag = builder.codeTag;
    root.line = 0;
    root.endLine = document.stats.lines - 1;
    const Builder::Id id = builder.add(std::move(root), std::nullopt);
    ++document.stats.scripts;
    document.stats.scriptLines = document.stats.lines;
    for (const CReader::Include& include : includes) {
        Node node;
        node.role = WebRole::external;
        node.stream = WebStream::script;
        node.name = QString::fromUtf8(include.name);
        node.detail = include.system ? (cSystem ? QStringLiteral("system") : QStringLiteral("external"))
                                     : QStringLiteral("local");
        node.tag = includeTag;
        node.line = include.line;
        node.endLine = include.line;
        builder.add(std::move(node), id);
    }
    for (const ScriptSymbol& symbol : symbols)
        builder.addSymbol(symbol, 0, id, std::nullopt);
}

void readNative(Builder& builder, QByteArrayView utf8, const QString& extension)
{
    const std::vector<CReader::Token> tokens = CReader::tokenise(utf8);
    const bool cpp = extension == u"c" ? false
        : extension == u"h"            ? CReader::looksLikeCpp(tokens, CReader::readablePart(utf8))
                                       : true;
    const CReader::Reading reading = CReader::read(utf8, tokens, cpp);
    WebDocument& document = builder.document;
    document.truncated = document.truncated || reading.truncated;
    document.program = cpp ? QStringLiteral("C++") : QStringLiteral("C");
    document.programTitle = document.program;
    document.programFile = cpp ? QStringLiteral("x.cpp") : QStringLiteral("x.c");
    builder.codeTag = cpp ? QStringLiteral("cpp") : QStringLiteral("c");
    addNative(builder, cpp ? QStringLiteral("C++ source") : QStringLiteral("C source"), reading.symbols,
        reading.includes, QStringLiteral("#include"), true);
}

void readRust(Builder& builder, QByteArrayView utf8)
{
    const RustReader::Reading reading = RustReader::read(utf8);
    WebDocument& document = builder.document;
    document.truncated = document.truncated || reading.truncated;
    document.program = QStringLiteral("Rust");
    document.programTitle = QStringLiteral("Rust");
    document.programFile = QStringLiteral("x.rs");
    builder.codeTag = QStringLiteral("rs");
    addNative(builder, QStringLiteral("Rust source"), reading.symbols, reading.includes,
        QStringLiteral("use"), false);
}

// The program a document is written in, by the name the languages go by and a file name of it.
void named(WebDocument& document, const QString& program, const QString& file)
{
    document.program = program;
    document.programTitle = program;
    document.programFile = file;
}

} // namespace

bool readsExtension(QStringView pathExtension)
{
    return sourceOf(pathExtension.toString().toLower()).has_value();
}

std::optional<WebDocument> read(QByteArrayView utf8, QStringView pathExtension)
{
    const QString extension = pathExtension.toString().toLower();
    const std::optional<Source> source = sourceOf(extension);
    if (!source)
        return std::nullopt;
    // A byte-order mark is no part of the first line's text.
    if (utf8.startsWith("\xEF\xBB\xBF"))
        utf8 = utf8.sliced(3);
    // Every reader sees "\n" line ends, so that lines counted anywhere agree with `lines`; a lone
    // "\r" (old Mac files) ends a line too.
    QByteArray normalised;
    if (utf8.contains('\r')) {
        normalised = utf8.toByteArray().replace("\r\n", "\n").replace('\r', '\n');
        utf8 = normalised;
    }
    Builder builder;
    WebDocument& document = builder.document;
    document.identity = QUuid::createUuid();
    document.program = QStringLiteral("JavaScript");
    document.programTitle = QStringLiteral("JS");
    document.programFile = QStringLiteral("x.js");
    document.stats.lines = ByteText::lineCount(utf8);
    switch (*source) {
    case Source::native: readNative(builder, utf8, extension); break;
    case Source::rust: readRust(builder, utf8); break;
    case Source::page:
        named(document, QStringLiteral("HTML"), QStringLiteral("x.html"));
        readPage(builder, utf8);
        break;
    case Source::stylesheet:
        named(document, QStringLiteral("CSS"), QStringLiteral("x.css"));
        builder.readStylesheet(utf8, QStringLiteral("Stylesheet"), 0, std::nullopt);
        break;
    case Source::script: builder.readScript(utf8, 0); break;
    }
    builder.gatherEvents();
    builder.link();
    builder.index();
    builder.layout();
    // The lines are made last, line by line, so that they and a reader's working state (tokens of a
    // multi-megabyte bundle) are never held at once.
    document.lines.reserve(document.stats.lines);
    for (qsizetype start = 0;;) {
        const qsizetype newline = utf8.indexOf('\n', start);
        document.lines.append(
            QString::fromUtf8(utf8.sliced(start, (newline < 0 ? utf8.size() : newline) - start)));
        if (newline < 0)
            break;
        start = newline + 1;
    }
    return std::move(builder.document);
}

} // namespace WebReader
