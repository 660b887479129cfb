#include "imports/dependencyreader.h"
#include "scan/scanner.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QStringList>

#include <mutex>
#include <utility>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

// "name" for a module, "name r" for a relative reference, joined by "; ".
std::string describe(const std::vector<Reference>& references)
{
    std::string text;
    for (const Reference& reference : references) {
        if (!text.empty())
            text += "; ";
        text += reference.name.toStdString() + (reference.relative ? " r" : "");
    }
    return text;
}

std::string describe(const std::vector<QByteArray>& words)
{
    std::string text;
    for (const QByteArray& word : words)
        text += (text.empty() ? "" : ", ") + word.toStdString();
    return text;
}

struct LinesCase {
    const char* name;
    const char* language;
    QByteArray text;
    std::string expected;
};

void PrintTo(const LinesCase& row, std::ostream* out)
{
    *out << row.name;
}

QByteArray repeated(const QByteArray& line, int times)
{
    QByteArray text;
    for (int i = 0; i < times; ++i)
        text += line;
    return text;
}

// A line of exactly `length` characters that imports "./a" when it is read.
QByteArray lineOf(qsizetype length, char pad = 'x')
{
    const QByteArray start = "import a from \"./a\"; // ";
    return start + QByteArray(length - start.size(), pad);
}

struct Folder {
    std::vector<std::pair<QString, QByteArray>> files;
};

struct Built {
    std::unique_ptr<TempFolder> folder;
    std::shared_ptr<FileNode> root;
    DependencyGraph graph;
};

Built buildFolder(const std::vector<std::pair<QString, QByteArray>>& files)
{
    Built built;
    built.folder = std::make_unique<TempFolder>();
    for (const auto& [path, content] : files)
        built.folder->write(path, content);
    auto scanned = Scanner(built.folder->path(), std::make_shared<CancelFlag>()).scan();
    built.root = std::get<ScanResult>(scanned).root;
    std::optional<DependencyGraph> graph = DependencyReader::build(*built.root);
    EXPECT_TRUE(graph.has_value());
    if (graph)
        built.graph = std::move(*graph);
    return built;
}

QString path(const DependencyGraph& graph, qint32 index)
{
    return graph.files[size_t(index)]->relativePath;
}

// "importer -> imported", one an edge, sorted.
QStringList edgeList(const DependencyGraph& graph)
{
    QStringList edges;
    for (const auto& [from, to] : graph.edges)
        edges.append(path(graph, from) + u" -> "_s + path(graph, to));
    edges.sort();
    return edges;
}

struct FolderCase {
    const char* name;
    std::vector<std::pair<QString, QByteArray>> files;
    QStringList edges;
    qint64 external;
    qint64 unresolved;
};

void PrintTo(const FolderCase& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace

class ImportLines : public testing::TestWithParam<LinesCase> { };

TEST_P(ImportLines, YieldTheNamesTheLanguageImports)
{
    const LinesCase& row = GetParam();
    EXPECT_EQ(
        describe(DependencyReader::references(row.text, QString::fromUtf8(row.language))), row.expected);
}

INSTANTIATE_TEST_SUITE_P(Table, ImportLines,
    testing::Values(LinesCase { "pythonImport", "Python", "import a.b as c, d\n", "a.b; d" },
        LinesCase {
            "pythonFrom", "Python", "from .util import x\nfrom os.path import join\n", ".util r; os.path r" },
        LinesCase { "pythonCrlf", "Python", "import a\r\n\r\nimport b\r\n", "a; b" },
        LinesCase { "script", "TypeScript",
            "import { a } from \"./a\";\nconst b = require('../b');\nexport * from \"lib\";\nconst s = "
            "\"plain\";\n"
            "const lazy = import(`./lazy`);\n",
            "./a r; ../b r; lib; ./lazy r" },
        LinesCase { "vue", "Vue", "<script>\nimport Child from './Child.vue'\n</script>\n", "./Child.vue r" },
        LinesCase { "rust", "Rust",
            "mod parser;\npub mod net;\nuse crate::net::tcp;\nmod tests {\nuse std::io;\n",
            "parser r; net r; crate/net/tcp; std/io" },
        LinesCase { "goBlock", "Go",
            "import \"fmt\"\nimport (\n\t\"net/http\"\n\tlog \"example.com/log\"\n)\n", "fmt; net/http" },
        LinesCase { "cQuotedOnly", "C",
            "#include <stdio.h>\n#include \"x.h\"\n#import \"y.h\"\n# include \"z.h\"\n", "x.h r; y.h r" },
        LinesCase { "java", "Java", "import com.example.util.Strings;\nimport com.example.*;\n",
            "com/example/util/Strings; com/example/" },
        LinesCase { "kotlin", "Kotlin", "import com.example.Foo\n", "com/example/Foo" },
        LinesCase {
            "ruby", "Ruby", "require_relative \"lib/helper\"\nrequire 'json'\n", "lib/helper r; json" },
        LinesCase { "php", "PHP", "require_once __DIR__ . '/inc/db.php';\ninclude \"view.php\";\n",
            "/inc/db.php r; view.php r" },
        LinesCase {
            "css", "CSS", "@import url(\"base.css\");\n@import 'theme.css';\n", "base.css r; theme.css r" },
        LinesCase { "html", "HTML",
            "<link rel=\"stylesheet\" href=\"css/site.css\">\n<script src='js/app.js'></script>\n"
            "<a href=\"https://example.com/x.html\">x</a>\n",
            "css/site.css r; js/app.js r" },
        LinesCase { "shell", "Shell", "source ./lib.sh\n. 'config.sh';\nsource\nsourced x\n",
            "./lib.sh r; config.sh r" },
        LinesCase {
            "swift", "Swift", "import Foundation\nimport Core;\n@testable import App\n", "Foundation; Core" },
        LinesCase { "dart", "Dart",
            "import 'package:app/model.dart';\nimport '../util.dart';\npart 'part.g.dart';\n",
            "package:app/model.dart; ../util.dart r; part.g.dart" },
        LinesCase { "otherLanguage", "Markdown", "import x\n#include \"y.h\"\n", "" },
        LinesCase { "duplicatesOnce", "JavaScript", "import a from './a';\nimport b from './a';\n", "./a r" },
        LinesCase {
            "relativeAndModuleBothKept", "Ruby", "require_relative \"x\"\nrequire \"x\"\n", "x r; x" },
        LinesCase { "unterminatedQuote", "JavaScript", "import './a' + \"./b\n", "./a r" },
        LinesCase { "line600Read", "Python", repeated("x = 1\n", 599) + "import late\n", "late" },
        LinesCase { "line601Ignored", "Python", repeated("x = 1\n", 600) + "import late\n", "" },
        LinesCase {
            "blankLinesNotCounted", "Python", repeated("x = 1\n\n\n", 599) + "import late\n", "late" },
        LinesCase { "line399Read", "JavaScript", lineOf(399) + '\n', "./a r" },
        LinesCase { "line400Skipped", "JavaScript", lineOf(400) + '\n', "" },
        LinesCase { "indentNotCounted", "JavaScript", "        " + lineOf(399) + '\n', "./a r" },
        LinesCase {
            "charactersNotBytes", "JavaScript", lineOf(399 - 100) + repeated("é", 100) + '\n', "./a r" },
        LinesCase { "name199Kept", "Swift", "import " + QByteArray(199, 'M') + '\n', std::string(199, 'M') },
        LinesCase { "name200Dropped", "Swift", "import " + QByteArray(200, 'M') + '\n', "" }),
    [](const auto& info) { return std::string(info.param.name); });

TEST(QuotedStrings, RunToTheSameQuoteWithoutEscapes)
{
    const auto strings = [](QByteArrayView line) {
        std::vector<std::string> found;
        for (const QByteArrayView quoted : DependencyReader::quotedStrings(line))
            found.push_back(quoted.toByteArray().toStdString());
        return found;
    };
    using List = std::vector<std::string>;
    EXPECT_EQ(strings("a \"b\" 'c' `d`"), (List { "b", "c", "d" }));
    EXPECT_EQ(strings("\"\" \"x\""), (List { "x" }));
    EXPECT_EQ(strings("\"it's\" 'say \"hi\"'"), (List { "it's", "say \"hi\"" }));
    EXPECT_EQ(strings("\"a\\\"b\""), (List { "a\\" }));
    EXPECT_EQ(strings("'open"), List {});
}

TEST(Normalise, FoldsDotsAndEmptyComponents)
{
    const std::pair<const char*, const char*> rows[] = { { "a/./b/../c", "a/c" }, { "../x", "x" },
        { "//a//b/", "a/b" }, { "a/..", "" }, { ".", "" }, { "a/b/../../../c", "c" } };
    for (const auto& [path, expected] : rows)
        EXPECT_EQ(DependencyReader::normalise(path), expected) << path;
}

TEST(SwiftWords, DeclarationsPassModifiersAndIdentifiersAreCapitalised)
{
    const QByteArray declarations = "public final class Store: ObservableObject {\n"
                                    "struct Point<T> {\n"
                                    "@MainActor final class ViewModel {\n"
                                    "  enum Mode: String {\n"
                                    "protocol Drawable{\n"
                                    "actor Cache {\n"
                                    "typealias Handler = () -> Void\n"
                                    "fileprivate  struct Hidden {\n"
                                    "let classic = Store()\n"
                                    "@objc(Named) class Skipped {\n"
                                    "public struct Store {\n";
    EXPECT_EQ(describe(DependencyReader::swiftDeclarations(declarations)),
        "Store, Point, ViewModel, Mode, Drawable, Cache, Handler, Hidden");
    EXPECT_EQ(
        describe(DependencyReader::identifiers("let view = ContentView(model: AppModel.shared) // OK Io Über "
                                               "ContentView _Private Ab9")),
        "ContentView, AppModel, Über, Ab9");
}

class FolderImports : public testing::TestWithParam<FolderCase> { };

TEST_P(FolderImports, LinkEveryImportToTheFileItNames)
{
    const Built built = buildFolder(GetParam().files);
    EXPECT_EQ(edgeList(built.graph), GetParam().edges);
    EXPECT_EQ(built.graph.external, GetParam().external);
    EXPECT_EQ(built.graph.unresolved, GetParam().unresolved);
}

INSTANTIATE_TEST_SUITE_P(Languages, FolderImports,
    testing::Values(
        FolderCase { "pythonPackages",
            { { u"app/__init__.py"_s, "" },
                { u"app/main.py"_s,
                    "from .util import helper\nimport app.models\nimport os, sys\nfrom . import config\n" },
                { u"app/util.py"_s, "import json\n" },
                { u"app/models/__init__.py"_s, "from .user import User\n" },
                { u"app/models/user.py"_s, "from ..util import helper\n" }, { u"app/config.py"_s, "" } },
            { u"app/main.py -> app/__init__.py"_s, u"app/main.py -> app/models/__init__.py"_s,
                u"app/main.py -> app/util.py"_s, u"app/models/__init__.py -> app/models/user.py"_s,
                u"app/models/user.py -> app/util.py"_s },
            3, 0 },
        FolderCase { "typescriptIndexFiles",
            { { u"src/index.ts"_s,
                  "import { App } from \"./app\";\nimport { format } from \"./Util\";\nimport React from "
                  "\"react\";\n" },
                { u"src/app.tsx"_s, "import { Button } from \"./components\";\nimport \"./styles.css\";\n" },
                { u"src/components/index.ts"_s, "export * from \"./Button\";\n" },
                { u"src/components/Button.tsx"_s,
                    "import { format } from \"../util/index\";\nimport data from \"../../data.json\";\n" },
                { u"src/util/index.ts"_s, "export const format = 1;\n" }, { u"src/styles.css"_s, "" },
                { u"data.json"_s, "{}" }, { u"src/missing.ts"_s, "import x from \"./nowhere\";\n" } },
            { u"src/app.tsx -> src/components/index.ts"_s, u"src/app.tsx -> src/styles.css"_s,
                u"src/components/Button.tsx -> data.json"_s,
                u"src/components/Button.tsx -> src/util/index.ts"_s,
                u"src/components/index.ts -> src/components/Button.tsx"_s, u"src/index.ts -> src/app.tsx"_s,
                u"src/index.ts -> src/util/index.ts"_s },
            1, 1 },
        FolderCase { "rustModFiles",
            { { u"src/main.rs"_s, "mod parser;\nmod net;\nuse crate::net::tcp;\nuse std::io;\n" },
                { u"src/parser.rs"_s, "pub mod lexer;\n" }, { u"src/parser/lexer.rs"_s, "" },
                { u"src/net/mod.rs"_s, "pub mod tcp;\n" }, { u"src/net/tcp.rs"_s, "use super::*;\n" } },
            { u"src/main.rs -> src/net/mod.rs"_s, u"src/main.rs -> src/net/tcp.rs"_s,
                u"src/main.rs -> src/parser.rs"_s, u"src/net/mod.rs -> src/net/tcp.rs"_s,
                u"src/parser.rs -> src/parser/lexer.rs"_s },
            2, 0 },
        FolderCase { "cIncludes",
            { { u"src/main.c"_s,
                  "#include <stdio.h>\n#include \"util.h\"\n#include \"net/socket.h\"\n#include "
                  "\"config.h\"\n"
                  "#include \"common.h\"\n" },
                { u"src/util.h"_s, "" }, { u"src/util.c"_s, "#include \"util.h\"\n" },
                { u"src/net/socket.h"_s, "#include \"../util.h\"\n" }, { u"include/config.h"_s, "" },
                { u"src/a/common.h"_s, "" }, { u"src/b/common.h"_s, "" } },
            { u"src/main.c -> include/config.h"_s, u"src/main.c -> src/net/socket.h"_s,
                u"src/main.c -> src/util.h"_s, u"src/net/socket.h -> src/util.h"_s,
                u"src/util.c -> src/util.h"_s },
            0, 1 },
        FolderCase { "javaPackages",
            { { u"src/main/java/com/acme/App.java"_s,
                  "package com.acme;\nimport com.acme.model.User;\nimport com.acme.util.*;\nimport "
                  "java.util.List;\n" },
                { u"src/main/java/com/acme/model/User.java"_s, "import com.acme.util.Strings;\n" },
                { u"src/main/java/com/acme/util/Strings.java"_s, "" } },
            { u"src/main/java/com/acme/App.java -> src/main/java/com/acme/model/User.java"_s,
                u"src/main/java/com/acme/model/User.java -> src/main/java/com/acme/util/Strings.java"_s },
            2, 0 },
        FolderCase { "swiftTypes",
            { { u"Sources/Core/Model.swift"_s,
                  "public struct Model {\n  let name: String\n  func copy() -> Model\n}\n" },
                { u"Sources/Core/Store.swift"_s, "final class Store {\n  var models: [Model] = []\n}\n" },
                { u"Sources/App/main.swift"_s, "import Core\nimport Foundation\nlet store = Store()\n" } },
            { u"Sources/App/main.swift -> Sources/Core/Model.swift"_s,
                u"Sources/App/main.swift -> Sources/Core/Store.swift"_s,
                u"Sources/Core/Store.swift -> Sources/Core/Model.swift"_s },
            1, 0 },
        FolderCase { "pageScriptsAndStyles",
            { { u"index.html"_s,
                  "<link rel=\"stylesheet\" href=\"css/site.css\">\n<script src=\"js/app.js\"></script>\n"
                  "<script src=\"https://cdn.example.com/lib.js\"></script>\n<img "
                  "src=\"img/missing.png\">\n" },
                { u"css/site.css"_s, "@import \"base.css\";\n" }, { u"css/base.css"_s, "" },
                { u"js/app.js"_s, "import { draw } from \"./draw.js\";\n" }, { u"js/draw.js"_s, "" } },
            { u"css/site.css -> css/base.css"_s, u"index.html -> css/site.css"_s,
                u"index.html -> js/app.js"_s, u"js/app.js -> js/draw.js"_s },
            0, 1 },
        FolderCase { "shellSource",
            { { u"run.sh"_s, "#!/bin/sh\n. ./lib/common.sh\nsource lib/env.sh\nsource \"$HOME/.profile\"\n" },
                { u"lib/common.sh"_s, "source ./env.sh\n" }, { u"lib/env.sh"_s, "" } },
            { u"lib/common.sh -> lib/env.sh"_s, u"run.sh -> lib/common.sh"_s, u"run.sh -> lib/env.sh"_s }, 0,
            1 },
        FolderCase { "goPackages",
            { { u"main.go"_s, "package main\n\nimport (\n\t\"fmt\"\n\t\"example.com/app/store\"\n)\n" },
                { u"store/store.go"_s, "package store\n" } },
            { u"main.go -> store/store.go"_s }, 1, 0 },
        FolderCase { "ambiguousNamesResolveToNothing",
            { { u"x/util.py"_s, "" }, { u"y/util.py"_s, "" }, { u"z/main.py"_s, "import util\n" },
                { u"z/page.html"_s, "<script src=\"lib/util.py\"></script>\n" } },
            {}, 1, 1 },
        FolderCase { "selfAndMutualImports",
            { { u"a.py"_s, "import a\nimport b\n" }, { u"b.py"_s, "import a\n" } },
            { u"a.py -> b.py"_s, u"b.py -> a.py"_s }, 0, 0 }),
    [](const auto& info) { return std::string(info.param.name); });

TEST(DependencyGraph, AnswersImportsAndImportersByNode)
{
    const Built built = buildFolder({ { u"a.js"_s, "import './b';\nimport './c';\n" },
        { u"b.js"_s, "import './c';\n" }, { u"c.js"_s, "" } });
    const DependencyGraph& graph = built.graph;
    const FileNode* a = built.root->find(u"a.js");
    const FileNode* b = built.root->find(u"b.js");
    const FileNode* c = built.root->find(u"c.js");
    EXPECT_EQ(graph.imports(*a), (QList<const FileNode*> { b, c }));
    EXPECT_EQ(graph.importedBy(*c), (QList<const FileNode*> { a, b }));
    EXPECT_TRUE(graph.importedBy(*a).isEmpty());
    EXPECT_TRUE(graph.imports(*built.root).isEmpty()) << "a folder is not in the graph";
    const FileNode stranger(u"/x/c.js"_s, u"c.js"_s, u"c.js"_s, false, nullptr);
    EXPECT_TRUE(graph.importedBy(stranger).isEmpty()) << "nodes are told apart by identity, not by path";
}

TEST(DependencyGraph, CyclesAreTheStronglyConnectedSetsOfSeveralFiles)
{
    const auto root = makeTree(u"a.c\nb.c\nc.c\nd.c\ne.c\nf.c\ng.c\n"_s);
    DependencyGraph graph = DependencyGraph::ofTree(*root);
    const std::pair<qint32, qint32> links[]
        = { { 0, 1 }, { 1, 2 }, { 2, 0 }, { 3, 0 }, { 4, 5 }, { 5, 4 }, { 6, 6 } };
    for (const auto& [from, to] : links)
        graph.link(from, to);
    EXPECT_FALSE(graph.link(0, 1)) << "an edge is never added twice";
    EXPECT_EQ(graph.edges.size(), 6u) << "nor a file to itself";
    EXPECT_EQ(graph.cycles(), (std::vector<std::vector<qint32>> { { 0, 1, 2 }, { 4, 5 } }));

    // A chain far longer than any call stack would hold, closed into one loop.
    DependencyGraph chained;
    constexpr qint32 length = 200000;
    chained.files.assign(length, nullptr);
    chained.outgoing.resize(length);
    chained.incoming.resize(length);
    for (qint32 i = 0; i + 1 < length; ++i)
        chained.link(i, i + 1);
    chained.link(length - 1, 0);
    const auto cycles = chained.cycles();
    ASSERT_EQ(cycles.size(), 1u);
    EXPECT_EQ(cycles[0].size(), 200000u);
}

TEST(DependencyReader, OversizedBinaryAndOtherFilesAreListedButNotRead)
{
    QByteArray big = "import target\n";
    big += QByteArray(DependencyReader::maxFileBytes - big.size(), '#');
    QByteArray fits = big;
    fits.chop(1);
    const Built built = buildFolder({ { u"target.py"_s, "" }, { u"big.py"_s, big }, { u"fits.py"_s, fits },
        { u"binary.py"_s, QByteArray("import target\n\0", 15) }, { u"notes.md"_s, "import target\n" } });
    EXPECT_EQ(built.graph.files.size(), 5u);
    EXPECT_EQ(edgeList(built.graph), QStringList { u"fits.py -> target.py"_s });
    EXPECT_EQ(built.graph.scanned, 2) << "target.py and fits.py";
}

TEST(DependencyReader, ReadsValidUtf8AndNeverThroughALinkOrAPipe)
{
    TempFolder outside;
    outside.write(u"secret.py"_s, "import target\n");
    const Built built
        = buildFolder({ { u"target.py"_s, "" }, { u"bad.py"_s, "# \xff\xfe\nimport target\n" } });
    EXPECT_EQ(edgeList(built.graph), QStringList { u"bad.py -> target.py"_s });

    const Beneath folder(built.folder->path());
    const FileNode* bad = built.root->find(u"bad.py");
    const std::optional<QByteArray> text = DependencyReader::read(folder, *bad);
    ASSERT_TRUE(text);
    EXPECT_TRUE(QByteArrayView(*text).isValidUtf8());
    EXPECT_TRUE(text->contains("\xef\xbf\xbd")) << "invalid bytes read as U+FFFD";

    FileNode link(built.folder->path(u"link.py"_s), u"link.py"_s, u"link.py"_s, false, nullptr);
    ASSERT_TRUE(QFile::link(outside.path(u"secret.py"_s), link.url));
    link.size = 14;
    EXPECT_FALSE(DependencyReader::read(folder, link));
    FileNode pipe(built.folder->path(u"pipe.py"_s), u"pipe.py"_s, u"pipe.py"_s, false, nullptr);
    ASSERT_EQ(mkfifo(QFile::encodeName(pipe.url).constData(), 0600), 0);
    EXPECT_FALSE(DependencyReader::read(folder, pipe)) << "a pipe with no writer must not hang the reader";
}

TEST(DependencyReader, TheSameFolderGivesTheSameGraphInFileOrder)
{
    std::vector<std::pair<QString, QByteArray>> files;
    for (int i = 0; i < 300; ++i) {
        QByteArray text;
        for (int j = 1; j <= 4; ++j)
            text += "import { x } from \"../m" + QByteArray::number((i * 7 + j * 13) % 30) + "/f"
                + QByteArray::number((i * 31 + j) % 300) + "\";\n";
        files.emplace_back(u"m%1/f%2.ts"_s.arg(i % 30).arg(i), text);
    }
    const Built first = buildFolder(files);
    const Built second = buildFolder(files);
    EXPECT_GT(first.graph.edges.size(), 100u);
    EXPECT_EQ(edgeList(first.graph), edgeList(second.graph));
    EXPECT_TRUE(std::is_sorted(first.graph.edges.begin(), first.graph.edges.end(),
        [](const auto& a, const auto& b) { return a.first < b.first; }))
        << "linked file by file, in index order";
    EXPECT_EQ(first.graph.edges.size(), second.graph.edges.size());
    EXPECT_EQ(first.graph.unresolved, second.graph.unresolved);
}

TEST(DependencyReader, ReportsBothPhasesAndStopsWhenCancelled)
{
    const Built built = buildFolder({ { u"a.py"_s, "import b\n" }, { u"b.py"_s, "" }, { u"c.md"_s, "" } });
    std::vector<DependencyProgress> reports;
    std::mutex lock;
    const auto record = [&](const DependencyProgress& p) {
        std::lock_guard guard(lock);
        reports.push_back(p);
    };
    ASSERT_TRUE(DependencyReader::build(*built.root, std::make_shared<CancelFlag>(), record));
    ASSERT_GE(reports.size(), 4u);
    EXPECT_EQ(reports.front().phase, u"Reading imports");
    EXPECT_EQ(reports.front().done, 0);
    EXPECT_EQ(reports.front().total, 2) << "the two Python files are read, the Markdown file is not";
    EXPECT_EQ(reports.back().phase, u"Linking files");
    EXPECT_EQ(reports.back().done, 2);

    const auto cancel = std::make_shared<CancelFlag>();
    cancel->cancel();
    EXPECT_FALSE(DependencyReader::build(*built.root, cancel));
}
