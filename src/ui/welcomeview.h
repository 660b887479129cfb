#pragma once

#include "state/appstate.h"

#include <QWidget>

class QLineEdit;
class QListWidget;

// What the window shows with no folder open: the recent folders (arrow keys and Return), a field
// to type a path, and the folder chooser. A folder can also be dropped anywhere on the window.
class WelcomeView : public QWidget {
    Q_OBJECT
public:
    explicit WelcomeView(AppState& state, QWidget* parent = nullptr);

    QLineEdit* pathField() const { return m_path; }

private:
    void refresh();

    AppState& m_state;
    QListWidget* m_recents;
    QLineEdit* m_path;
};
