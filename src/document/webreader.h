#pragma once

#include "document/webdocument.h"

#include <QByteArrayView>
#include <QHash>
#include <QSet>

#include <optional>

struct MarkupElement;
struct ScriptSymbol;
struct StyleRule;

// Reads one file into a WebDocument: picks the reader by the file's extension, lets it add its
// parts through a Builder, then links, indexes and lays out the result.
namespace WebReader {

// The most bytes of a file any reader looks at: readers stop at their own limits within it.
inline constexpr qsizetype byteLimit = qsizetype(16) * 1024 * 1024;

// The document of a UTF-8 text, or none when no reader takes files with this extension.
std::optional<WebDocument> read(QByteArrayView utf8, QStringView pathExtension);
// Whether some reader takes files with this extension.
bool readsExtension(QStringView pathExtension);

// Builds one document; lives only while a file is read. Lookups are keyed by lower-cased names.
class Builder {
public:
    using Id = qsizetype;
    using Parent = std::optional<Id>;

    // Linking stops here, and the document is marked truncated: a page whose every rule styles
    // thousands of elements would otherwise make millions of links.
    static constexpr qsizetype linkLimit = 50000;

    WebDocument document;
    QHash<QString, QList<Id>> elementsById;
    QHash<QString, QList<Id>> elementsByClass;
    QHash<QString, QList<Id>> symbolsByName; // functions
    QHash<QString, QList<Id>> methodsByName;
    QHash<QString, QList<Id>> classesByName;
    QHash<QString, Id> definesVariable; // custom property -> the first rule defining it
    QHash<QString, Id> keyframesByName;
    Parent ownerClass; // the class whose members are being added
    QString codeTag = QStringLiteral("js"); // the tag of code nodes: js, c, cpp, rs

    // Room for this many more nodes, so that a large file's nodes are not moved as they come.
    void reserve(qsizetype count);
    // Appends a node under a parent, or as a root; returns its id.
    Id add(WebDocument::Node node, Parent parent);
    // An element with everything inside it; script and style blocks are read as roots of their own.
    Id addElement(const MarkupElement& element, Parent parent);
    // `offset` is the line where the rule's text starts within the file.
    Id addRule(const StyleRule& rule, qint64 offset, Parent parent);
    Id addSymbol(const ScriptSymbol& symbol, qint64 offset, Parent parent, Parent owner);

    // A root for a script's text and its top-level symbols.
    Id readScript(QByteArrayView utf8, qint64 offset);
    // A root for a stylesheet's text and its rules.
    Id readStylesheet(QByteArrayView utf8, const QString& rootName, qint64 offset, Parent parent);

    // The finishing passes, in this order.
    void gatherEvents(); // handlers under an "Events" root, by event
    void link();
    void index(); // children in reading order; definitions
    void layout(); // extents of grouping nodes, drawn order

    // Names called in a piece of code: words followed by "(".
    static QStringList called(QStringView code);
    // "1 rule", "3 rules": a count with the word that goes with it.
    static QString counted(qsizetype count, const char* one, const char* many);
    // The elements a selector names: "#id", ".class", a tag, or a compound selector of these.
    QList<Id> elements(const QString& selector) const;

private:
    // The parts of one compound selector such as div#main.a:hover: its tag, id and classes.
    struct Compound {
        QString tag;
        QString id;
        QStringList classes;
    };
    struct ElementFacts {
        QString tag;
        QString id;
        QStringList classes;
    };

    void move(Id id, Id parent);
    void setDepth(Id id);
    std::optional<Id> resolve(const QList<Id>& candidates, Id from) const;
    static Compound compound(QStringView text);
    bool matches(Id element, const Compound& compound) const;
    void addLink(Id from, Id to, LinkKind kind);
    void linkHandlers(Id id, const WebDocument::Node& node);
    void linkStyle(Id id, const WebDocument::Node& node);
    void linkCode(Id id, const WebDocument::Node& node);
    std::optional<Id> plainCallee(const QString& name, Id from) const;

    // Where each node was written: its parent before handlers were gathered under events, which is
    // the scope that decides between same-named definitions.
    std::vector<Parent> m_scope;
    QHash<QString, QList<Id>> m_elementsByTag;
    QHash<Id, ElementFacts> m_elements;
    QSet<quint64> m_linked;
};

} // namespace WebReader
