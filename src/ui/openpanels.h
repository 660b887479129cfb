#pragma once

#include "state/appstate.h"

#include <QFrame>

class QLabel;
class QLineEdit;
class QListWidget;
class QProgressBar;

// The chooser of folders over the window: the folder listed, a field that narrows the list as the
// user types, the folders with each repository's branch, and the keys that move through them. The
// keys reach it through the router; the mouse goes in with a double click.
class FolderPickerPanel : public QFrame {
    Q_OBJECT
public:
    explicit FolderPickerPanel(AppState& state, QWidget* parent = nullptr);
    QLineEdit* field() const { return m_filter; }
    void refresh();

protected:
    void hideEvent(QHideEvent* event) override;

private:
    AppState& m_state;
    QLabel* m_path;
    QLineEdit* m_filter;
    QListWidget* m_list;
    QLabel* m_empty;
    // What the list holds, so that a move of the highlight does not fill it again.
    QString m_listed;
};

// The entry of a repository to download: the text, what it reads as, and the download's progress
// or why it failed.
class DownloadPanel : public QFrame {
    Q_OBJECT
public:
    explicit DownloadPanel(AppState& state, QWidget* parent = nullptr);
    QLineEdit* field() const { return m_text; }
    void refresh();

private:
    AppState& m_state;
    QLineEdit* m_text;
    QLabel* m_hint;
    QLabel* m_phase;
    QProgressBar* m_bar;
    QLabel* m_keys;
};
