#pragma once

#include "preview/syntax.h"
#include "preview/syntaxcarries.h"
#include "scene/theme.h"
#include "text/mappedtext.h"
#include "text/textneedle.h"

#include <QAbstractScrollArea>
#include <QImage>

#include <memory>
#include <optional>

// A file's text with line numbers and colours, drawn a screen at a time from the mapped file, so a
// file of any size scrolls as fast as a small one: only the lines on screen are decoded and
// coloured, and the colouring of a line starts from what the lines before it left open, kept every
// few hundred lines. The search's text is marked where it occurs, and a minimap of the lines around
// the screen can stand at the right edge: one pixel row a line, the screen's band framed; a click or
// a drag there scrolls.
class TextPreview : public QAbstractScrollArea {
    Q_OBJECT

public:
    explicit TextPreview(QWidget* parent = nullptr);

    // A text, coloured as the file name's language is; its lines numbered from firstLine + 1, as
    // when the text is a part of a longer file.
    void setText(std::shared_ptr<MappedText> text, const QString& fileName, qint64 firstLine = 0);
    void setTheme(const Theme& theme);
    void setMinimap(bool shown);
    void setNeedle(std::optional<TextNeedle> needle);
    // The lines counted so far grew.
    void linesChanged();

    qint64 topLine() const;
    int visibleLines() const;
    // Puts a line near the top of the screen and marks it.
    void showLine(qint64 line);
    void page(int step);
    // To the next or previous line that holds the needle, from the marked line or the screen's top;
    // false when there is none that way.
    bool stepHit(int step);
    // The minimap's framed band, in the viewport's coordinates; empty without a minimap.
    QRect minimapBand() const;
    const std::optional<qint64>& markedLine() const { return m_marked; }

signals:
    void scrolled(qint64 topLine);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    struct Piece {
        QString text;
        SyntaxRole role;
    };
    // A line cut where its colours change, tabs expanded.
    std::vector<Piece> pieces(qint64 line);
    QColor colorOf(SyntaxRole role) const;
    int gutterWidth() const;
    int minimapWidth() const;
    qint64 minimapFirstLine() const;
    void paintMinimap(QPainter& painter, const QRect& area);
    void scrollToMinimap(int y);
    void updateRanges();
    // A file opened while the search looks for a text opens at its first line holding it.
    void showFirstHit();
    // The first line from `from` on (or before it, going back) that holds the needle.
    std::optional<qint64> findHit(qint64 from, int step) const;

    std::shared_ptr<MappedText> m_text;
    const Syntax* m_syntax = nullptr;
    std::unique_ptr<SyntaxCarries> m_carries;
    Theme m_theme = Theme::darkPalette();
    std::optional<TextNeedle> m_needle;
    std::optional<qint64> m_marked;
    bool m_minimap = false;
    int m_lineHeight = 16;
    int m_charWidth = 8;
    qint64 m_firstLine = 0;
    int m_widest = 0; // of the lines drawn, for the horizontal scroll
    QImage m_minimapImage;
    qint64 m_minimapFirst = -1;
    std::vector<SyntaxSpan> m_spans;
};
