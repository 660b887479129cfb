#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <optional>

#include <sys/stat.h>

// One folder whose files are reached only from inside it. A relative path is taken only when it is
// plain (no empty, "." or ".." part, not starting at "/"), and no part of it may be a symbolic
// link: a link in the work tree, or an entry someone wrote into a git index by hand, never leads
// to a file elsewhere on the disk. Reading never blocks on a pipe or a device standing in the
// folder. Safe to use from several threads at once.
class Beneath {
public:
    // Deeper paths are turned away by whoever lists files: a tree this deep is no real project, and
    // every walk of the tree may then recurse once a level without running out of stack.
    static constexpr int maxDepth = 256;

    explicit Beneath(const QString& folder);
    ~Beneath();
    Beneath(const Beneath&) = delete;
    Beneath& operator=(const Beneath&) = delete;

    // True when the path names something inside a folder without leaving it on the way.
    static bool isPlain(QByteArrayView relative);
    // The number of parts of a plain path ("a/b/c" has 3).
    static int depth(QByteArrayView relative);

    // What the entry is; a link at the end is described, not followed. None when the path is not
    // plain, runs through a link, or is not there.
    std::optional<struct stat> status(QByteArrayView relative) const;

    // A descriptor for reading a regular file, or -1; the caller closes it. `info` receives its
    // status when given.
    int openFile(QByteArrayView relative, struct stat* info = nullptr) const;

    // A path-only descriptor of a folder inside ("" for this one), to open many of its files by
    // name alone with openFileIn, which costs far less than walking each file's whole path. -1 when
    // it cannot be reached; the caller closes it.
    int openFolder(QByteArrayView relative) const;
    // status and openFile for an entry directly in a folder from openFolder, named without any "/".
    static std::optional<struct stat> statusIn(int folder, QByteArrayView name);
    static int openFileIn(int folder, QByteArrayView name, struct stat* info = nullptr);
    // openFileIn for an entry known to be a regular file or a link, because git listed it (git
    // lists nothing else) or it was just looked at: opened without looking first, which saves a
    // call a file. A link is still refused, and whatever turns out not to be a regular file closed.
    static int openKnownFileIn(int folder, QByteArrayView name, struct stat* info = nullptr);

    // The first `limit` bytes of a regular file (all of it when it is shorter); `whole` tells
    // whether that was the end of the file. None when it cannot be opened.
    std::optional<QByteArray> read(QByteArrayView relative, qint64 limit, bool* whole = nullptr) const;

    // The same for a path given whole: the folder is the one the path names last before the file.
    // Used for a file someone named on the command line, which may be reached through links.
    static std::optional<QByteArray> readFile(const QString& path, qint64 limit, bool* whole = nullptr);

private:
    int openAt(QByteArrayView relative, int flags) const;

    int m_fd = -1;
};
