#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QByteArrayView>
#include <QString>

#include <vector>

// One element of a page, with the script and style blocks and the linked files among them.
struct MarkupElement {
    enum class Kind { element, script, style, link };

    Kind kind = Kind::element;
    QByteArray tag; // lower case
    QByteArray id;
    QByteArrayList classes;
    QByteArray source; // "src" or "href" of a linked script or stylesheet
    QByteArray type;
    qint64 line = 0; // 0-based
    qint64 endLine = 0;
    qint64 start = 0; // byte offsets of "<" and of the end of the closing tag
    qint64 end = 0;
    std::vector<MarkupElement> children;
    QByteArrayList handlers; // code of inline event attributes such as onclick
    QByteArray code; // a script or style block's text, read raw
    qint64 codeLine = 0;
    qint64 codeStart = 0;
    QByteArray text; // the element's own text, white space collapsed, shortened

    // "div#main.a.…": the tag, then the id, then the first class, then ".…" when there are more.
    QByteArray name() const;
};

QString markupElementKindName(MarkupElement::Kind kind);

// Reads an HTML page into its element tree. A tolerant scanner: broken markup only makes the tree
// less exact. Unclosed elements end with the text.
namespace MarkupReader {

// Reading stops after this many elements.
inline constexpr qsizetype elementLimit = 3000;

struct Reading {
    std::vector<MarkupElement> elements; // the top level, each with its children
    bool truncated = false;
};

Reading read(QByteArrayView utf8);

} // namespace MarkupReader
