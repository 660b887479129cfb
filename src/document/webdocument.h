#pragma once

#include "text/textneedle.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <array>
#include <optional>
#include <vector>

// The structure of one file that is walked into: its named parts (page elements, style rules,
// functions, classes, handlers …) as a tree of nodes with their line ranges, and the typed links
// between them (who calls whom, which rule styles which element). Every view of a file draws on
// this one value; WebReader builds it, and it does not change afterwards.
struct WebDocument {
    // The kind of text a node belongs to. Raw values 0, 1, 2.
    enum class Stream { markup, style, script };

    enum class Role {
        group,
        element,
        styleBlock,
        scriptBlock,
        rule,
        atRule,
        keyframes,
        function,
        klass,
        method,
        handler,
        object,
        variable,
        external,
        events,
        event,
    };

    struct Node {
        qsizetype id = 0; // its place in `nodes`
        Role role = Role::group;
        Stream stream = Stream::markup;
        QString name;
        QString detail; // one line: a signature, a count of declarations …
        QString tag; // a short language or element tag, such as "js" or "div"
        qint64 line = 0; // 0-based, inclusive; -1 for a node that stands for no text of its own
        qint64 endLine = 0;
        QList<qsizetype> children;
        std::optional<qsizetype> parent;
        qint64 depth = 0;
        QStringList calls;
        QStringList methodCalls;
        QStringList constructs;
        QStringList selectors;
        QStringList defines;
        QStringList uses;
        QStringList animations;
        QStringList targets;
        QStringList handlers;
        bool measured = false; // its extent was computed from its children, not read from the text
        QString event;
        QString base; // the class a class extends, for `inherits` links
    };

    struct Link {
        // Raw values 0 to 7.
        enum class Kind { calls, instantiates, inherits, listens, touches, styles, uses, animates };
        qsizetype from = 0;
        qsizetype to = 0;
        Kind kind = Kind::calls;
        bool operator==(const Link&) const = default;
    };

    struct Stats {
        qint64 lines = 0;
        qint64 markupLines = 0;
        qint64 styleLines = 0;
        qint64 scriptLines = 0;
        qint64 elements = 0;
        qint64 rules = 0;
        qint64 functions = 0;
        qint64 classes = 0;
        qint64 scripts = 0;
        qint64 styles = 0;
    };

    // Where a node is drawn: its row in the drawn order, and how many lines it stands for.
    struct Position {
        qsizetype row = -1;
        qint64 lines = 0;
    };

    QUuid identity;
    QString program;
    QString programTitle;
    QString programFile;
    std::vector<Node> nodes;
    QList<qsizetype> roots;
    std::vector<Link> links;
    std::vector<QList<qsizetype>> outgoing; // per node, positions in `links` that start there
    std::vector<QList<qsizetype>> incoming;
    Stats stats;
    bool truncated = false;
    QStringList lines;
    std::vector<Position> positions; // per node
    QList<qsizetype> drawn; // every node, in the order the outline shows them
    QHash<QString, QList<qsizetype>> definitions; // lower-cased name -> defining nodes, in order

    // The nodes a node calls, instantiates or listens with, each once, in link order.
    QList<qsizetype> callees(qsizetype id) const;
    QList<qsizetype> callers(qsizetype id) const;
    // The node that defines a name, preferring one in the class that encloses `near`.
    std::optional<qsizetype> definition(const QString& name, std::optional<qsizetype> near = {}) const;
    // The text of a node's lines.
    QString source(qsizetype id) const;
    // Per node, the lines inside it that hold the needle, in order; nodes without a hit are absent.
    // A grouping node without lines of its own (events) holds the hits of its children.
    QHash<qsizetype, QList<qint64>> lineHits(const TextNeedle& needle) const;
};

using WebStream = WebDocument::Stream;
using WebRole = WebDocument::Role;
using LinkKind = WebDocument::Link::Kind;

inline constexpr std::array webStreams { WebStream::markup, WebStream::style, WebStream::script };
inline constexpr std::array linkKinds { LinkKind::calls, LinkKind::instantiates, LinkKind::inherits,
    LinkKind::listens, LinkKind::touches, LinkKind::styles, LinkKind::uses, LinkKind::animates };

// Case names, as written in JSON and shown in outlines.
QString streamName(WebStream stream);
QString roleName(WebRole role);
QString linkKindName(LinkKind kind);
// Decoding raw values: anything out of range is none.
std::optional<WebStream> streamFromRaw(int raw);
std::optional<LinkKind> linkKindFromRaw(int raw);

// rule … keyframes
inline bool isStyleRole(WebRole role)
{
    return role >= WebRole::rule && role <= WebRole::keyframes;
}
// function … variable
inline bool isCodeRole(WebRole role)
{
    return role >= WebRole::function && role <= WebRole::variable;
}
// function … object
inline bool isCallableRole(WebRole role)
{
    return role >= WebRole::function && role <= WebRole::object;
}
