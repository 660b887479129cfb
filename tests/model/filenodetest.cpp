#include "filenode.h"

#include <gtest/gtest.h>

#include <QHash>

namespace {

// A hand-built tree, as the scan would leave it before finalize.
class Tree {
public:
    Tree()
        : root(
            std::make_unique<FileNode>(QStringLiteral("/r"), QStringLiteral("r"), QString(), true, nullptr))
    {
    }

    FileNode& folder(const QString& path)
    {
        if (path.isEmpty())
            return *root;
        if (FileNode* known = folders.value(path))
            return *known;
        const qsizetype slash = path.lastIndexOf(u'/');
        FileNode& parent = folder(slash < 0 ? QString() : path.left(slash));
        FileNode* node = parent.addChild(
            std::make_unique<FileNode>(u"/r/" + path, path.mid(slash + 1), path, true, &parent));
        folders.insert(path, node);
        return *node;
    }

    FileNode& file(const QString& path, qint64 lines = 1, qint64 size = 10)
    {
        const qsizetype slash = path.lastIndexOf(u'/');
        FileNode& parent = folder(slash < 0 ? QString() : path.left(slash));
        const QString name = path.mid(slash + 1);
        FileNode* node
            = parent.addChild(std::make_unique<FileNode>(u"/r/" + path, name, path, false, &parent));
        node->language = &Languages::languageFor(name);
        node->lines = lines;
        node->size = size;
        return *node;
    }

    QStringList childNames(const QString& path = {})
    {
        QStringList names;
        for (const auto& child : (path.isEmpty() ? *root : *root->find(path)).children)
            names << child->name;
        return names;
    }

    std::unique_ptr<FileNode> root;
    QHash<QString, FileNode*> folders;
};

} // namespace

TEST(FileNode, FinalizeSumsFolderMeasuresAndTakesTheLatestTimes)
{
    Tree tree;
    FileNode& a = tree.file(QStringLiteral("src/a.c"), 10, 100);
    FileNode& b = tree.file(QStringLiteral("src/deep/b.c"), 5, 50);
    tree.file(QStringLiteral("top.md"), 2, 7);
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
    EXPECT_EQ(tree.root->lines, 17);
    EXPECT_EQ(tree.root->changedCount, 2);
    EXPECT_FALSE(tree.root->find(u"top.md")->modified.has_value());
}

TEST(FileNode, FinalizeDropsExcludedEntriesAndFoldersLeftWithoutFiles)
{
    Tree tree;
    tree.file(QStringLiteral("gone/x.c")).excluded = true;
    tree.folder(QStringLiteral("empty/emptier"));
    tree.file(QStringLiteral("kept/zero.txt"), 0, 0);
    tree.file(QStringLiteral("kept/broken.txt")).excluded = true;
    tree.root->finalize(0);
    EXPECT_EQ(tree.childNames(), QStringList { QStringLiteral("kept") });
    EXPECT_EQ(tree.childNames(QStringLiteral("kept")), QStringList { QStringLiteral("zero.txt") });
    EXPECT_EQ(tree.root->fileCount, 1);

    Tree bare; // the root stays, even without a file
    bare.folder(QStringLiteral("a/b"));
    bare.root->finalize(0);
    EXPECT_TRUE(bare.root->children.empty());
    EXPECT_EQ(bare.root->fileCount, 0);
}

TEST(FileNode, DominantLanguageWeighsFilesNotLines)
{
    Tree tree;
    for (int i = 0; i < 40; ++i)
        tree.file(QStringLiteral("lib/c%1.c").arg(i), 1000);
    for (int i = 0; i < 50; ++i)
        tree.file(QStringLiteral("m%1.md").arg(i), 1);
    tree.root->finalize(0);
    EXPECT_EQ(tree.root->language->name, u"Markdown");
    EXPECT_EQ(tree.root->find(u"lib")->language->name, u"C");
}

TEST(FileNode, ChildrenComeFoldersFirstThenInNaturalOrderIgnoringCase)
{
    Tree tree;
    for (const char* name : { "b", "a10", "A2", "file10", "file2", "Zeta.txt" })
        tree.file(QString::fromLatin1(name));
    tree.folder(QStringLiteral("z"));
    tree.file(QStringLiteral("z/inner"));
    tree.folder(QStringLiteral("Y"));
    tree.file(QStringLiteral("Y/inner"));
    tree.root->finalize(0);
    EXPECT_EQ(tree.childNames().join(u' '), u"Y z A2 a10 b file2 file10 Zeta.txt");
}

TEST(FileNode, FindNeedsTheSlashAfterAFolderPrefix)
{
    Tree tree;
    tree.file(QStringLiteral("src/application/main.c"));
    tree.file(QStringLiteral("src/app/main.c"));
    tree.file(QStringLiteral("src/app.c"));
    tree.root->finalize(0);
    EXPECT_EQ(tree.root->find(u"src/app")->relativePath, u"src/app");
    EXPECT_EQ(tree.root->find(u"src/app/main.c")->relativePath, u"src/app/main.c");
    EXPECT_EQ(tree.root->find(u"src/app.c")->relativePath, u"src/app.c");
    EXPECT_EQ(tree.root->find(u""), tree.root.get());
    EXPECT_EQ(tree.root->find(u"src/App"), nullptr);
    EXPECT_EQ(tree.root->find(u"src/app/missing.c"), nullptr);
    EXPECT_EQ(tree.root->find(u"src/"), nullptr);
}

TEST(FileNode, ForEachVisitsFilesDepthFirstInDisplayOrder)
{
    Tree tree;
    tree.file(QStringLiteral("b.txt"));
    tree.file(QStringLiteral("a/z.txt"));
    tree.file(QStringLiteral("a/y/x.txt"));
    tree.root->finalize(0);
    QStringList seen;
    for (const FileNode* file : tree.root->allFiles())
        seen << file->relativePath;
    EXPECT_EQ(seen.join(u' '), u"a/y/x.txt a/z.txt b.txt");
}

TEST(FileNode, LanguageBreakdownSortsByFilesThenLines)
{
    Tree tree;
    tree.file(QStringLiteral("a.py"), 10);
    tree.file(QStringLiteral("b.pyi"), 10);
    tree.file(QStringLiteral("c.go"), 500);
    tree.file(QStringLiteral("d.rs"), 700);
    tree.file(QStringLiteral("e.js"), 5);
    tree.file(QStringLiteral("f.js"), 5);
    tree.file(QStringLiteral("g.js"), 5);
    tree.root->finalize(0);
    QStringList rows;
    for (const LanguageShare& share : tree.root->languageBreakdown())
        rows << QStringLiteral("%1:%2:%3").arg(share.language->name).arg(share.files).arg(share.lines);
    EXPECT_EQ(rows.join(u' '), u"JavaScript:3:15 Python:2:20 Rust:1:700 Go:1:500");
}
