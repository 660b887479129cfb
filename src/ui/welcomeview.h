#pragma once

#include "state/appstate.h"
#include "state/keyrouter.h"

#include <QWidget>

class QLineEdit;
class QListWidget;

// What the window shows with no folder open: the recent folders (arrow keys and Return), a field
// to type a path, the folder choosers, the download of a repository and the repositories
// downloaded before. A folder can also be dropped anywhere on the window.
class WelcomeView : public QWidget {
    Q_OBJECT
public:
    // The router performs what the buttons ask, as the keys and the menus do.
    WelcomeView(AppState& state, KeyRouter& router, QWidget* parent = nullptr);

    QLineEdit* pathField() const { return m_path; }

private:
    void refresh();

    AppState& m_state;
    QListWidget* m_recents;
    QLineEdit* m_path;
    QWidget* m_downloadedTitle;
    QListWidget* m_downloaded;
};
