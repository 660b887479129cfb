#include "ui/hexpreview.h"

#include <QFontDatabase>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>

namespace {

bool printable(char c)
{
    return c >= 0x20 && c < 0x7F;
}

} // namespace

HexPreview::HexPreview(QWidget* parent)
    : QAbstractScrollArea(parent)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSizeF(std::max(9.0, font.pointSizeF()));
    setFont(font);
    m_lineHeight = QFontMetrics(font).height() + 2;
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus);
}

void HexPreview::setBytes(std::shared_ptr<MappedText> bytes)
{
    m_bytes = std::move(bytes);
    // Offsets past 4 GiB need more than eight digits.
    m_offsetDigits = m_bytes && m_bytes->size() > 0xFFFFFFFFLL ? 10 : 8;
    updateRanges();
    verticalScrollBar()->setValue(0);
    viewport()->update();
}

void HexPreview::setTheme(const Theme& theme)
{
    m_theme = theme;
    viewport()->update();
}

qint64 HexPreview::rowCount() const
{
    return m_bytes ? (m_bytes->size() + rowBytes - 1) / rowBytes : 0;
}

int HexPreview::visibleRows() const
{
    return std::max(1, viewport()->height() / m_lineHeight);
}

qint64 HexPreview::topRow() const
{
    return verticalScrollBar()->value();
}

void HexPreview::page(int step)
{
    verticalScrollBar()->setValue(verticalScrollBar()->value() + step * std::max(1, visibleRows() - 1));
}

void HexPreview::updateRanges()
{
    verticalScrollBar()->setPageStep(visibleRows());
    verticalScrollBar()->setRange(0, int(std::clamp<qint64>(rowCount() - visibleRows(), 0, INT_MAX)));
    // A narrow panel scrolls sideways to the characters rather than cutting them off.
    const int charWidth = QFontMetrics(font()).horizontalAdvance(u'0');
    const int rowWidth = (m_offsetDigits + 2 + rowBytes * 3 + 2 + rowBytes + 1) * charWidth;
    horizontalScrollBar()->setPageStep(viewport()->width());
    horizontalScrollBar()->setSingleStep(charWidth * 4);
    horizontalScrollBar()->setRange(0, std::max(0, rowWidth - viewport()->width()));
}

QString HexPreview::rowText(qint64 row) const
{
    if (!m_bytes)
        return {};
    const QByteArrayView bytes = m_bytes->bytes(row * rowBytes, rowBytes);
    QString text = QStringLiteral("%1 ").arg(row * rowBytes, m_offsetDigits, 16, QLatin1Char('0'));
    for (int i = 0; i < rowBytes; ++i) {
        text += i == rowBytes / 2 ? QStringLiteral("  ") : QStringLiteral(" ");
        text += i < bytes.size() ? QStringLiteral("%1").arg(uchar(bytes[i]), 2, 16, QLatin1Char('0'))
                                 : QStringLiteral("  ");
    }
    text += QStringLiteral("  ");
    for (const char c : bytes)
        text += printable(c) ? QChar(QLatin1Char(c)) : QChar(u'·');
    return text;
}

void HexPreview::paintEvent(QPaintEvent*)
{
    QPainter painter(viewport());
    painter.fillRect(viewport()->rect(), m_theme.paper);
    if (!m_bytes)
        return;
    const QFontMetrics metrics(font());
    const int charWidth = metrics.horizontalAdvance(u'0');
    const int ascent = metrics.ascent() + 1;
    painter.translate(-horizontalScrollBar()->value(), 0);
    const int hexLeft = (m_offsetDigits + 2) * charWidth;
    const int textLeft = hexLeft + (rowBytes * 3 + 2) * charWidth;
    const qint64 rows = rowCount();
    for (qint64 row = topRow(); row < rows && (row - topRow()) * m_lineHeight < viewport()->height(); ++row) {
        const int y = int(row - topRow()) * m_lineHeight + ascent;
        const QByteArrayView bytes = m_bytes->bytes(row * rowBytes, rowBytes);
        painter.setPen(m_theme.ink3);
        painter.drawText(
            charWidth / 2, y, QStringLiteral("%1").arg(row * rowBytes, m_offsetDigits, 16, QLatin1Char('0')));
        for (qsizetype i = 0; i < bytes.size(); ++i) {
            const char c = bytes[i];
            // Zero bytes recede, and bytes that are not text stand apart from those that are.
            painter.setPen(c == 0 ? m_theme.ink3 : printable(c) ? m_theme.ink : m_theme.ink2);
            const int x = hexLeft + int(i * 3 + (i >= rowBytes / 2 ? 1 : 0)) * charWidth;
            painter.drawText(x, y, QStringLiteral("%1").arg(uchar(c), 2, 16, QLatin1Char('0')));
            painter.setPen(printable(c) ? m_theme.ink : m_theme.ink3);
            painter.drawText(textLeft + int(i) * charWidth, y,
                printable(c) ? QString(QLatin1Char(c)) : QStringLiteral("·"));
        }
    }
}

void HexPreview::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Home || event->key() == Qt::Key_End) {
        QScrollBar* bar = verticalScrollBar();
        bar->setValue(event->key() == Qt::Key_Home ? bar->minimum() : bar->maximum());
        return;
    }
    QAbstractScrollArea::keyPressEvent(event);
}

void HexPreview::resizeEvent(QResizeEvent* event)
{
    QAbstractScrollArea::resizeEvent(event);
    updateRanges();
}
