#include "model/filenode.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// A hand-built tree, as the scan leaves it before finalize.
struct Tree {
    std::unique_ptr<FileNode> root = std::make_unique<FileNode>(u"/r"_s, u"r"_s, QString(), true, nullptr);

    FileNode& add(const QString& path, bool isDirectory = false, qint64 lines = 1)
    {
        FileNode& node = addPath(*root, path, isDirectory);
        node.lines = lines;
        node.size = 10 * lines;
        return node;
    }

    QString childNames(const QString& path = {}) const
    {
        QStringList names;
        for (const auto& child : root->find(path)->children)
            names << child->name;
        return names.join(u' ');
    }
};

} // namespace

TEST(FileNode, FinalizeSumsFolderMeasuresAndTakesTheLatestTimes)
{
    Tree tree;
    FileNode& a = tree.add(u"src/a.c"_s, false, 10);
    FileNode& b = tree.add(u"src/deep/b.c"_s, false, 5);
    tree.add(u"top.md"_s, false, 2);
    a.modified = 300;
    b.modified = 500;
    a.commits = 3;
    b.commits = 4;
    a.lastCommit = 900;
    b.lastCommit = 800;
    b.gitStatus = GitFileStatus::untracked;
    a.gitStatus = GitFileStatus::modified;
    tree.root->finalize(0);

    const FileNode& src = *tree.root->find(u"src");
    EXPECT_EQ(src.size, 150);
    EXPECT_EQ(src.lines, 15);
    EXPECT_EQ(src.fileCount, 2);
    EXPECT_EQ(src.commits, 7);
    EXPECT_EQ(src.modified, 500);
    EXPECT_EQ(src.lastCommit, 900);
    EXPECT_EQ(src.changedCount, 2);
    EXPECT_EQ(src.depth, 1);
    EXPECT_EQ(tree.root->find(u"src/deep/b.c")->depth, 3);
    EXPECT_EQ(tree.root->fileCount, 3);
    EXPECT_EQ(tree.root->changedCount, 2);
    EXPECT_FALSE(tree.root->find(u"top.md")->modified.has_value());

    // Commit counts that come later are summed again.
    b.commits = 10;
    b.lastCommit = 1000;
    tree.root->sumCommits();
    EXPECT_EQ(src.commits, 13);
    EXPECT_EQ(tree.root->lastCommit, 1000);
}

TEST(FileNode, FinalizeDropsExcludedEntriesAndFoldersLeftWithoutFiles)
{
    Tree tree;
    tree.add(u"gone/x.c"_s).excluded = true;
    tree.add(u"empty/emptier"_s, true);
    tree.add(u"kept/zero.txt"_s, false, 0);
    tree.add(u"kept/broken.txt"_s).excluded = true;
    tree.root->finalize(0);
    EXPECT_EQ(tree.childNames(), u"kept");
    EXPECT_EQ(tree.childNames(u"kept"_s), u"zero.txt");
    EXPECT_EQ(tree.root->fileCount, 1);

    Tree bare; // the root stays, even without a file
    bare.add(u"a/b"_s, true);
    bare.root->finalize(0);
    EXPECT_TRUE(bare.root->children.empty());
    EXPECT_EQ(bare.root->fileCount, 0);
}

TEST(FileNode, DominantLanguageWeighsFilesNotLines)
{
    Tree tree;
    for (int i = 0; i < 40; ++i)
        tree.add(u"lib/c%1.c"_s.arg(i), false, 1000);
    for (int i = 0; i < 50; ++i)
        tree.add(u"m%1.md"_s.arg(i));
    tree.root->finalize(0);
    EXPECT_EQ(tree.root->language->name, u"Markdown");
    EXPECT_EQ(tree.root->find(u"lib")->language->name, u"C");
}

TEST(FileNode, ChildrenComeFoldersFirstThenInNaturalOrderIgnoringCase)
{
    Tree tree;
    for (const QString& name :
        { u"b"_s, u"a10"_s, u"A2"_s, u"file10"_s, u"file2"_s, u"Zeta.txt"_s, u"z/in"_s, u"Y/in"_s })
        tree.add(name);
    tree.root->finalize(0);
    EXPECT_EQ(tree.childNames(), u"Y z A2 a10 b file2 file10 Zeta.txt");
}

TEST(FileNode, FindNeedsTheSlashAfterAFolderPrefix)
{
    Tree tree;
    tree.add(u"src/application/main.c"_s);
    tree.add(u"src/app/main.c"_s);
    tree.add(u"src/app.c"_s);
    tree.root->finalize(0);
    for (const QString& path : { u"src/app"_s, u"src/app/main.c"_s, u"src/app.c"_s, QString() })
        EXPECT_EQ(tree.root->find(path)->relativePath, path);
    for (const QString& path : { u"src/App"_s, u"src/app/missing.c"_s, u"src/"_s })
        EXPECT_EQ(tree.root->find(path), nullptr) << path.toStdString();
}

TEST(FileNode, ForEachVisitsFilesDepthFirstInDisplayOrder)
{
    Tree tree;
    for (const QString& path : { u"b.txt"_s, u"a/z.txt"_s, u"a/y/x.txt"_s })
        tree.add(path);
    tree.root->finalize(0);
    QStringList seen;
    for (const FileNode* file : tree.root->allFiles())
        seen << file->relativePath;
    EXPECT_EQ(seen.join(u' '), u"a/y/x.txt a/z.txt b.txt");
}

TEST(FileNode, LanguageBreakdownSortsByFilesThenLines)
{
    Tree tree;
    const std::pair<QString, qint64> files[] = { { u"a.py"_s, 10 }, { u"b.pyi"_s, 10 }, { u"c.go"_s, 500 },
        { u"d.rs"_s, 700 }, { u"e.js"_s, 5 }, { u"f.js"_s, 5 }, { u"g.js"_s, 5 } };
    for (const auto& [name, lines] : files)
        tree.add(name, false, lines);
    tree.root->finalize(0);
    QStringList rows;
    for (const LanguageShare& share : tree.root->languageBreakdown())
        rows << u"%1:%2:%3"_s.arg(share.language->name).arg(share.files).arg(share.lines);
    EXPECT_EQ(rows.join(u' '), u"JavaScript:3:15 Python:2:20 Rust:1:700 Go:1:500");
}
