#include "ui/textpreview.h"

#include <QFontDatabase>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>

namespace {

constexpr int tabWidth = 4;
constexpr int minimapColumns = 72;
constexpr int textPadding = 10;
// Without a bytewise needle, lines are decoded one by one, this many at most a step.
constexpr qint64 decodedSearchLines = 200000;

} // namespace

TextPreview::TextPreview(QWidget* parent)
    : QAbstractScrollArea(parent)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSizeF(std::max(9.0, font.pointSizeF()));
    setFont(font);
    const QFontMetrics metrics(font);
    m_lineHeight = metrics.height() + 2;
    m_charWidth = std::max(1, metrics.horizontalAdvance(u'M'));
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus);
    viewport()->setCursor(Qt::IBeamCursor);
    verticalScrollBar()->setSingleStep(1);
}

void TextPreview::setText(std::shared_ptr<MappedText> text, const QString& fileName, qint64 firstLine)
{
    m_firstLine = firstLine;
    m_text = std::move(text);
    m_syntax = &Syntax::forFile(fileName);
    m_carries.reset();
    if (m_text) {
        MappedText* raw = m_text.get();
        m_carries = std::make_unique<SyntaxCarries>(
            *m_syntax, [raw](qint64 line) { return raw->line(line); }, raw->lineCount());
    }
    m_marked.reset();
    m_widest = 0;
    m_minimapFirst = -1;
    updateRanges();
    verticalScrollBar()->setValue(0);
    horizontalScrollBar()->setValue(0);
    showFirstHit();
    viewport()->update();
}

void TextPreview::showFirstHit()
{
    if (!m_needle || !m_text)
        return;
    if (const std::optional<qint64> first = findHit(0, 1))
        showLine(*first);
}

void TextPreview::setTheme(const Theme& theme)
{
    m_theme = theme;
    m_minimapFirst = -1;
    viewport()->update();
}

void TextPreview::setMinimap(bool shown)
{
    m_minimap = shown;
    m_minimapFirst = -1;
    viewport()->update();
}

void TextPreview::setNeedle(std::optional<TextNeedle> needle)
{
    const bool same = needle.has_value() == m_needle.has_value()
        && (!needle
            || (needle->text() == m_needle->text() && needle->caseSensitive() == m_needle->caseSensitive()));
    m_needle = std::move(needle);
    if (same)
        return;
    m_marked.reset();
    showFirstHit();
    viewport()->update();
}

void TextPreview::linesChanged()
{
    if (m_carries)
        m_carries->grow(m_text->lineCount());
    updateRanges();
    m_minimapFirst = -1;
    viewport()->update();
}

qint64 TextPreview::topLine() const
{
    return verticalScrollBar()->value();
}

int TextPreview::visibleLines() const
{
    return std::max(1, viewport()->height() / m_lineHeight);
}

void TextPreview::showLine(qint64 line)
{
    if (!m_text)
        return;
    m_marked = std::clamp<qint64>(line, 0, m_text->lineCount() - 1);
    verticalScrollBar()->setValue(int(std::max<qint64>(0, *m_marked - 3)));
    viewport()->update();
}

void TextPreview::page(int step)
{
    verticalScrollBar()->setValue(verticalScrollBar()->value() + step * std::max(1, visibleLines() - 1));
}

bool TextPreview::stepHit(int step)
{
    if (!m_text || !m_needle)
        return false;
    const qint64 from = m_marked ? *m_marked + (step > 0 ? 1 : 0) : topLine();
    const std::optional<qint64> hit = findHit(from, step);
    if (hit)
        showLine(*hit);
    return hit.has_value();
}

std::optional<qint64> TextPreview::findHit(qint64 from, int step) const
{
    const TextNeedle& needle = *m_needle;
    const qint64 lines = m_text->lineCount();
    if (!needle.bytewise()) {
        for (qint64 i = 0, line = step > 0 ? from : from - 1;
             i < decodedSearchLines && line >= 0 && line < lines; ++i, line += step) {
            if (needle.inLine(MappedText::shown(m_text->line(line))))
                return line;
        }
        return std::nullopt;
    }
    // The needle is found in the bytes, without decoding them.
    const qint64 start = from >= lines ? m_text->size() : m_text->lineStart(from);
    if (step > 0) {
        const qint64 at = from >= lines ? -1 : m_text->indexOf(needle, start);
        // A hit beyond the lines counted so far has no line number yet.
        if (at < 0 || (!m_text->indexed() && at >= m_text->lineStart(lines - 1)))
            return std::nullopt;
        return m_text->lineAt(at);
    }
    const qint64 at = m_text->lastIndexOf(needle, start);
    return at < 0 ? std::nullopt : std::optional(m_text->lineAt(at));
}

std::vector<TextPreview::Piece> TextPreview::pieces(qint64 line)
{
    const QByteArray bytes = m_text->line(line);
    m_spans.clear();
    if (!m_syntax->isPlain()) {
        SyntaxCarry carry = m_carries->carryAt(line);
        m_syntax->colour(bytes, carry, m_spans);
    }
    std::vector<Piece> out;
    qsizetype column = 0;
    const auto add = [&](qsizetype from, qsizetype to, SyntaxRole role) {
        if (to <= from)
            return;
        QString text = MappedText::shown(QByteArrayView(bytes).sliced(from, to - from));
        for (qsizetype i = 0; i < text.size(); ++i) {
            if (text[i] != u'\t')
                continue;
            const qsizetype spaces = tabWidth - (column + i) % tabWidth;
            text.replace(i, 1, QString(spaces, u' '));
            i += spaces - 1;
        }
        column += text.size();
        out.push_back({ std::move(text), role });
    };
    qsizetype at = 0;
    for (const SyntaxSpan& span : m_spans) {
        const qsizetype start = std::clamp<qsizetype>(span.start, at, bytes.size());
        const qsizetype end = std::clamp<qsizetype>(qsizetype(span.start) + span.length, start, bytes.size());
        add(at, start, SyntaxRole::plain);
        add(start, end, span.role);
        at = end;
    }
    add(at, bytes.size(), SyntaxRole::plain);
    return out;
}

QColor TextPreview::colorOf(SyntaxRole role) const
{
    const bool dark = m_theme.dark;
    switch (role) {
    case SyntaxRole::comment: return m_theme.ink3;
    case SyntaxRole::string: return dark ? QColor(152, 195, 121) : QColor(56, 122, 40);
    case SyntaxRole::number: return dark ? QColor(229, 164, 92) : QColor(170, 86, 10);
    case SyntaxRole::keyword: return dark ? QColor(198, 146, 233) : QColor(122, 52, 176);
    case SyntaxRole::type: return dark ? QColor(102, 196, 206) : QColor(16, 120, 132);
    case SyntaxRole::preprocessor: return dark ? QColor(224, 120, 140) : QColor(168, 38, 72);
    case SyntaxRole::tag: return dark ? QColor(230, 120, 100) : QColor(176, 54, 30);
    case SyntaxRole::attribute: return dark ? QColor(229, 192, 123) : QColor(140, 100, 10);
    case SyntaxRole::heading: return m_theme.accent;
    case SyntaxRole::inserted: return dark ? QColor(120, 200, 120) : QColor(30, 130, 40);
    case SyntaxRole::deleted: return dark ? QColor(235, 110, 110) : QColor(190, 40, 40);
    default: return m_theme.ink;
    }
}

int TextPreview::gutterWidth() const
{
    const qint64 lines = m_firstLine + (m_text ? m_text->lineCount() : 1);
    int digits = 1;
    for (qint64 n = lines; n >= 10; n /= 10)
        ++digits;
    return (std::max(digits, 3) + 2) * m_charWidth;
}

int TextPreview::minimapWidth() const
{
    return m_minimap ? minimapColumns + 12 : 0;
}

void TextPreview::updateRanges()
{
    const qint64 lines = m_text ? m_text->lineCount() : 0;
    verticalScrollBar()->setPageStep(visibleLines());
    verticalScrollBar()->setRange(0, int(std::clamp<qint64>(lines - visibleLines(), 0, INT_MAX)));
    const int textWidth = viewport()->width() - gutterWidth() - minimapWidth() - textPadding;
    horizontalScrollBar()->setPageStep(std::max(1, textWidth));
    horizontalScrollBar()->setSingleStep(m_charWidth * 4);
    horizontalScrollBar()->setRange(0, std::max(0, m_widest - textWidth + 2 * m_charWidth));
}

void TextPreview::paintEvent(QPaintEvent*)
{
    QPainter painter(viewport());
    const QRect area = viewport()->rect();
    painter.fillRect(area, m_theme.paper);
    if (!m_text)
        return;
    const int gutter = gutterWidth();
    const int right = area.width() - minimapWidth();
    painter.fillRect(QRect(0, 0, gutter, area.height()), m_theme.wash);
    const QFontMetrics metrics(font());
    const int ascent = metrics.ascent() + 1;
    const qint64 top = topLine();
    const qint64 lines = m_text->lineCount();
    const int left = gutter + textPadding - horizontalScrollBar()->value();
    QColor hitColor = m_theme.mark;
    hitColor.setAlphaF(0.45f);
    QColor markedColor = m_theme.accent;
    markedColor.setAlphaF(0.14f);
    int widest = m_widest;
    for (qint64 line = top; line < lines && (line - top) * m_lineHeight < area.height(); ++line) {
        const int y = int(line - top) * m_lineHeight;
        if (m_marked == line)
            painter.fillRect(QRect(gutter, y, right - gutter, m_lineHeight), markedColor);
        painter.setClipRect(QRect(0, 0, right, area.height()));
        painter.setPen(m_marked == line ? m_theme.ink : m_theme.ink3);
        painter.drawText(QRect(0, y, gutter - m_charWidth, m_lineHeight), Qt::AlignRight | Qt::AlignVCenter,
            QString::number(m_firstLine + line + 1));
        painter.setClipRect(QRect(gutter, 0, right - gutter, area.height()));
        const std::vector<Piece> parts = pieces(line);
        if (m_needle) {
            QString whole;
            for (const Piece& piece : parts)
                whole += piece.text;
            for (const TextNeedle::Range& hit : m_needle->ranges(whole, 200)) {
                const int x = left + metrics.horizontalAdvance(whole.left(hit.start));
                painter.fillRect(
                    QRect(x, y, metrics.horizontalAdvance(whole.mid(hit.start, hit.length)), m_lineHeight),
                    hitColor);
            }
        }
        int x = left;
        for (const Piece& piece : parts) {
            if (x > right)
                break;
            const int advance = metrics.horizontalAdvance(piece.text);
            if (x + advance >= gutter) {
                painter.setPen(colorOf(piece.role));
                painter.drawText(x, y + ascent, piece.text);
            }
            x += advance;
        }
        widest = std::max(widest, x - left);
    }
    painter.setClipping(false);
    if (widest != m_widest) {
        m_widest = widest;
        updateRanges();
    }
    if (m_minimap)
        paintMinimap(painter, QRect(right, 0, minimapWidth(), area.height()));
}

qint64 TextPreview::minimapFirstLine() const
{
    const qint64 lines = m_text ? m_text->lineCount() : 0;
    const qint64 rows = viewport()->height();
    if (lines <= rows)
        return 0;
    // The minimap slides along the file as the screen does, so both ends of the file are reachable.
    const qint64 scrollable = std::max<qint64>(1, lines - visibleLines());
    return (lines - rows) * std::min(topLine(), scrollable) / scrollable;
}

void TextPreview::paintMinimap(QPainter& painter, const QRect& area)
{
    const qint64 first = minimapFirstLine();
    const QSize size(minimapColumns, area.height());
    if (first != m_minimapFirst || m_minimapImage.size() != size) {
        m_minimapFirst = first;
        // Written pixel by pixel as plain colours, faint ones too, then made ready to draw.
        m_minimapImage = QImage(size, QImage::Format_ARGB32);
        m_minimapImage.fill(Qt::transparent);
        const qint64 lines = m_text->lineCount();
        QColor plain = m_theme.ink3;
        plain.setAlphaF(0.7f);
        for (int row = 0; row < size.height() && first + row < lines; ++row) {
            auto* pixels = reinterpret_cast<QRgb*>(m_minimapImage.scanLine(row));
            const QByteArray bytes = m_text->line(first + row, minimapColumns * 2);
            m_spans.clear();
            if (!m_syntax->isPlain()) {
                SyntaxCarry carry = m_carries->carryAt(first + row);
                m_syntax->colour(bytes, carry, m_spans);
            }
            auto span = m_spans.cbegin();
            int column = 0;
            for (qsizetype i = 0; i < bytes.size() && column < minimapColumns; ++i) {
                const char c = bytes[i];
                if (c == '\t') {
                    column += tabWidth - column % tabWidth;
                    continue;
                }
                // The bytes after the first of a UTF-8 character draw nothing of their own.
                if ((uchar(c) & 0xC0) == 0x80)
                    continue;
                while (span != m_spans.cend() && span->start + span->length <= i)
                    ++span;
                const bool inSpan = span != m_spans.cend() && span->start <= i;
                if (c != ' ')
                    pixels[column] = (inSpan ? colorOf(span->role) : plain).rgba();
                ++column;
            }
        }
        m_minimapImage = m_minimapImage.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    }
    painter.fillRect(area, m_theme.wash);
    painter.drawImage(area.topLeft() + QPoint(6, 0), m_minimapImage);
    const QRect band = minimapBand();
    QColor fill = m_theme.ink;
    fill.setAlphaF(0.12f);
    painter.fillRect(band, fill);
    QColor edge = m_theme.accent;
    edge.setAlphaF(0.7f);
    painter.setPen(edge);
    painter.drawRect(band.adjusted(0, 0, -1, -1));
}

QRect TextPreview::minimapBand() const
{
    if (!m_minimap || !m_text)
        return {};
    const int right = viewport()->width() - minimapWidth();
    const int y = int(topLine() - minimapFirstLine());
    return QRect(right, y, minimapWidth(), visibleLines());
}

void TextPreview::scrollToMinimap(int y)
{
    verticalScrollBar()->setValue(int(minimapFirstLine() + y - visibleLines() / 2));
}

void TextPreview::mousePressEvent(QMouseEvent* event)
{
    if (m_minimap && event->position().x() >= viewport()->width() - minimapWidth())
        return scrollToMinimap(int(event->position().y()));
    QAbstractScrollArea::mousePressEvent(event);
}

void TextPreview::mouseMoveEvent(QMouseEvent* event)
{
    if (m_minimap && (event->buttons() & Qt::LeftButton)
        && event->position().x() >= viewport()->width() - minimapWidth())
        return scrollToMinimap(int(event->position().y()));
    QAbstractScrollArea::mouseMoveEvent(event);
}

// While the search looks for a text, ↑ and ↓ go from hit to hit; otherwise they scroll.
void TextPreview::keyPressEvent(QKeyEvent* event)
{
    if (m_needle && (event->key() == Qt::Key_Up || event->key() == Qt::Key_Down)) {
        stepHit(event->key() == Qt::Key_Down ? 1 : -1);
        return;
    }
    if (event->key() == Qt::Key_Home || event->key() == Qt::Key_End) {
        QScrollBar* bar = verticalScrollBar();
        bar->setValue(event->key() == Qt::Key_Home ? bar->minimum() : bar->maximum());
        return;
    }
    QAbstractScrollArea::keyPressEvent(event);
}

void TextPreview::resizeEvent(QResizeEvent* event)
{
    QAbstractScrollArea::resizeEvent(event);
    m_minimapFirst = -1;
    updateRanges();
}

void TextPreview::scrollContentsBy(int, int)
{
    emit scrolled(topLine());
    viewport()->update();
}
