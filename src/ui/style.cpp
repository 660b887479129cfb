#include "ui/style.h"

#include <QPalette>
#include <QWidget>

QString cssColor(const QColor& color)
{
    if (color.alpha() == 255)
        return color.name(QColor::HexRgb);
    return QStringLiteral("rgba(%1,%2,%3,%4)")
        .arg(color.red())
        .arg(color.green())
        .arg(color.blue())
        .arg(color.alphaF(), 0, 'f', 2);
}

void applyTheme(QWidget& window, const Theme& theme)
{
    QPalette palette;
    palette.setColor(QPalette::Window, theme.paper);
    palette.setColor(QPalette::Base, theme.wash);
    palette.setColor(QPalette::AlternateBase, theme.paper);
    palette.setColor(QPalette::Text, theme.ink);
    palette.setColor(QPalette::WindowText, theme.ink);
    palette.setColor(QPalette::ButtonText, theme.ink);
    palette.setColor(QPalette::Button, theme.wash);
    palette.setColor(QPalette::PlaceholderText, theme.ink3);
    palette.setColor(QPalette::Highlight, theme.accent);
    palette.setColor(QPalette::HighlightedText, theme.dark ? theme.ink : theme.paper);
    palette.setColor(QPalette::ToolTipBase, theme.wash);
    palette.setColor(QPalette::ToolTipText, theme.ink);
    palette.setColor(QPalette::Mid, theme.rule);
    palette.setColor(QPalette::Dark, theme.ruleStrong);
    window.setPalette(palette);

    const QString sheet
        = QStringLiteral(R"(
        QWidget { color: %1; font-size: 13px; }
        #masthead, #rail, #drawer { background: %2; }
        #masthead { border-bottom: 1px solid %3; }
        #rail { border-right: 1px solid %3; }
        #drawer { border-left: 1px solid %3; }
        #preview { background: %9; border-left: 1px solid %3; }
        #previewTitle { font-weight: 600; }
        #previewFacts, #previewCaption { color: %5; }
        #previewParts { border-right: 1px solid %3; }
        #previewMarkdown { background: %9; color: %1; border: none; }
        #folderName { font-size: 16px; font-weight: 600; }
        .faint, #faint { color: %4; }
        .secondary { color: %5; }
        QPushButton { background: transparent; border: 1px solid %3; border-radius: 4px; padding: 3px 10px; }
        QPushButton:hover { border-color: %6; }
        QPushButton:checked, QPushButton#primary { background: %7; color: %8; border-color: %7; }
        QLineEdit { background: %9; border: 1px solid %3; border-radius: 4px; padding: 5px 8px; }
        QLineEdit:focus { border-color: %7; }
        QPlainTextEdit { background: %9; color: %1; border: 1px solid %3; border-radius: 4px; }
        QAbstractSpinBox { background: %9; border: 1px solid %3; border-radius: 4px; padding: 3px 6px; }
        QAbstractSpinBox:focus { border-color: %7; }
        #timeline { background: %2; border-top: 1px solid %3; }
        QTreeView, QListView { background: transparent; border: none; outline: none; }
        QTreeView::item, QListView::item { padding: 3px 2px; }
        QTreeView::item:selected, QListView::item:selected { background: %7; color: %8; }
        QProgressBar { background: %9; border: 1px solid %3; border-radius: 3px; height: 6px; }
        QProgressBar::chunk { background: %7; }
        QScrollArea { border: none; background: transparent; }
        QScrollBar:vertical { background: transparent; width: 8px; margin: 0; }
        QScrollBar:horizontal { background: transparent; height: 8px; margin: 0; }
        QScrollBar::handle { background: %3; border-radius: 4px; min-height: 24px; min-width: 24px; }
        QScrollBar::handle:hover { background: %6; }
        QScrollBar::add-line, QScrollBar::sub-line, QScrollBar::add-page, QScrollBar::sub-page { background: none; border: none; width: 0; height: 0; }
        QMenuBar { background: %2; }
        QMenuBar::item { padding: 3px 10px; background: transparent; }
        QMenuBar::item:selected, QMenu::item:selected { background: %7; color: %8; }
        QMenu { background: %2; border: 1px solid %6; padding: 4px 0; }
        QMenu::item { padding: 4px 24px 4px 16px; }
        QMenu::item:disabled { color: %4; }
        #panel { background: %2; border: 1px solid %6; border-radius: 8px; }
        #banner { background: %7; border-radius: 6px; }
        #banner QLabel, #banner QPushButton { color: %8; border: none; }
    )")
              .arg(cssColor(theme.ink), cssColor(theme.wash), cssColor(theme.rule), cssColor(theme.ink3),
                  cssColor(theme.ink2), cssColor(theme.ruleStrong), cssColor(theme.accent),
                  cssColor(theme.dark ? theme.ink : theme.paper), cssColor(theme.paper));
    window.setStyleSheet(sheet);
}
