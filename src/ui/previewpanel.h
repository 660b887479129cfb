#pragma once

#include "state/appstate.h"
#include "state/keyrouter.h"

#include <QJsonObject>
#include <QWidget>

class DrawingView;
class HexPreview;
class ImagePreview;
class MarkdownPreview;
class QLabel;
class QListWidget;
class QStackedWidget;
class TextPreview;

// The selected file's contents beside the scene: its text coloured by syntax (with the parts of a
// source file listed beside it, and a minimap), Markdown and HTML rendered, pictures, boards and
// schematics drawn, or any file's bytes in hex. It shows the file the state previews, as the state's
// choices of hex and raw source say; in the history view, the file as it was at the playhead.
class PreviewPanel : public QWidget {
    Q_OBJECT

public:
    explicit PreviewPanel(AppState& state, QWidget* parent = nullptr);

    // The kind of view shown, or none with no file.
    std::optional<PreviewKind> shownKind() const;
    // What a script reads back: the file, its kind, lines, the screen's place, the minimap's band,
    // the hex view's first row, a drawing's counts, the message shown.
    QJsonObject facts() const;
    // A key the router left to the preview while it holds the keys, as the keyboard would send it.
    void pressKey(const KeyPress& key);

    bool eventFilter(QObject* watched, QEvent* event) override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void rebuild();
    void refreshFacts();
    void followTheme();
    void followSearch();
    void page(int step);
    void stepHit(int step);
    void listParts();
    void followParts(qint64 topLine);
    void fitParts();

    AppState& m_state;
    QLabel* m_title;
    QLabel* m_facts;
    QLabel* m_caption;
    QWidget* m_keysMark; // an accent rule while the preview holds the keys
    QStackedWidget* m_pages;
    QLabel* m_message;
    QWidget* m_textPage;
    QListWidget* m_parts;
    TextPreview* m_text;
    HexPreview* m_hex;
    MarkdownPreview* m_markdown;
    ImagePreview* m_image;
    DrawingView* m_drawing;
    std::shared_ptr<const PreviewContent> m_shown;
    std::optional<PreviewKind> m_shownKind;
    QString m_imageSize; // "1920 × 1080 px" once a picture is read
};
