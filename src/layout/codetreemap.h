#pragma once

#include "document/webdocument.h"

#include <QHash>
#include <QPointF>
#include <QRectF>
#include <QSet>
#include <QSizeF>

#include <optional>
#include <vector>

// The flat treemap of one document's parts: each part a box sized by the code it holds, the parts
// inside it nested within it under a title strip when the box is large enough to hold them.
class CodeTreemap {
public:
    struct Tile {
        qint64 index = 0; // the document node
        QRectF rect; // in view points
        int depth = 0; // 0 for top-level parts
        bool leaf = false; // drawn filled, its children not shown inside it
        bool header = false; // the title strip of a box whose children are shown
    };

    static constexpr double inset = 6;
    static constexpr double headerHeight = 15;
    static constexpr double minContainerWidth = 46; // a container is wider than this …
    static constexpr double minContainerHeight = 34; // … and higher than this
    static constexpr int maxDepth = 7;

    // `shown` restricts the parts drawn (a filter); none shows them all.
    CodeTreemap(const WebDocument& document, WebStream stream, std::optional<QSet<qsizetype>> shown = {});

    // The weight of a part: the lines of code it stands for, or its children's weights. `cache`
    // lives for one layout pass, since the nesting asks for the same weights again and again.
    double weight(qsizetype index, QHash<qsizetype, double>& cache) const;
    // The tiles for a view of this size, parents before their contents.
    std::vector<Tile> layout(QSizeF size) const;
    // The tile under a point: the last drawn, so the innermost.
    static const Tile* hit(const std::vector<Tile>& tiles, QPointF point);
    // The top-level parts of the stream shown.
    QList<qsizetype> topLevel() const;

private:
    QList<qsizetype> shownChildren(qsizetype index) const;
    void place(const QList<qsizetype>& ids, const QRectF& rect, int depth, double own,
        QHash<qsizetype, double>& cache, std::vector<Tile>& tiles) const;

    const WebDocument& m_document;
    WebStream m_stream;
    std::optional<QSet<qsizetype>> m_shown;
};
