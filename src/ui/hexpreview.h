#pragma once

#include "scene/theme.h"
#include "text/mappedtext.h"

#include <QAbstractScrollArea>

#include <memory>

// The bytes of a file of any size, sixteen a row: the offset, the bytes in hex, and the printable
// ones as characters. Only the rows on screen are read from the mapped file.
class HexPreview : public QAbstractScrollArea {
    Q_OBJECT

public:
    static constexpr int rowBytes = 16;

    explicit HexPreview(QWidget* parent = nullptr);
    void setBytes(std::shared_ptr<MappedText> bytes);
    void setTheme(const Theme& theme);
    void page(int step);
    // The text of one row as drawn, for the state and tests.
    QString rowText(qint64 row) const;
    qint64 topRow() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    qint64 rowCount() const;
    int visibleRows() const;
    void updateRanges();

    std::shared_ptr<MappedText> m_bytes;
    Theme m_theme = Theme::darkPalette();
    int m_lineHeight = 16;
    int m_offsetDigits = 8;
};
