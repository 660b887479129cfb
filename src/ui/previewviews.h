#pragma once

#include "scene/theme.h"

#include <QImage>
#include <QTextBrowser>

class FileNode;

// Markdown and HTML rendered. Pictures it names are read from the folder shown and nowhere else;
// a link to a file of the folder selects that file, and a web link opens in the browser.
class MarkdownPreview : public QTextBrowser {
    Q_OBJECT

public:
    explicit MarkdownPreview(QWidget* parent = nullptr);
    // The document's text, the file it came from (for relative links and pictures) and the folder
    // those may lie in.
    void show(const QByteArray& text, bool html, const QString& fileUrl, const QString& folder);
    void setTheme(const Theme& theme);
    // The size of the largest heading's font over the body's, for tests.
    double headingScale() const;

signals:
    void fileLinked(const QString& path);

protected:
    QVariant loadResource(int type, const QUrl& name) override;

private:
    void spaceOut();

    QString m_folder;
    Theme m_theme = Theme::darkPalette();
};

// A picture fitted to the panel, never enlarged past its own pixels, on a checkered ground where
// it is transparent.
class ImagePreview : public QWidget {
    Q_OBJECT

public:
    explicit ImagePreview(QWidget* parent = nullptr);
    // False with the reader's reason when the picture cannot be read.
    bool show(const QByteArray& bytes, QString* error);
    void setTheme(const Theme& theme);
    QSize imageSize() const { return m_image.size(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QImage m_image;
    Theme m_theme = Theme::darkPalette();
};
