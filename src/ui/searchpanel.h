#pragma once

#include "state/appstate.h"
#include "state/keyrouter.h"

#include <QAbstractListModel>
#include <QPushButton>
#include <QWidget>

class QLabel;
class QLineEdit;
class QListView;

// What the search found, in a line: "12 files", "Searching…", "No file matches", with the files a
// text search passed over.
QString searchSummary(const AppState& state);

// The search field of the masthead: the text, whether it looks through names or the files' text
// (Tab), and what it found or that it is still looking. Typing here changes the state's search
// text; the state's focus and text come back into the field.
class SearchBar : public QWidget {
    Q_OBJECT
public:
    SearchBar(AppState& state, KeyRouter& router, QWidget* parent = nullptr);
    QLineEdit* field() const { return m_field; }

private:
    void refresh();

    AppState& m_state;
    QLineEdit* m_field;
    QPushButton* m_kind;
    QLabel* m_status;
};

// The files found, in order, for the rail: the name with its matched letters marked, the folder
// (or for a part of a walked-into file its role and lines), and in a text search the number of
// matching lines.
class SearchResultsModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role { PathRole = Qt::UserRole, PositionsRole, CountRole };

    SearchResultsModel(const AppState& state, QObject* parent = nullptr);
    const FileNode* node(const QModelIndex& index) const;
    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

private:
    const AppState& m_state;
    QStringList m_terms; // of the name search the rows answer
};

// The rail while a search is active: the results, the current one marked; a click selects it.
class SearchResultsView : public QWidget {
    Q_OBJECT
public:
    SearchResultsView(AppState& state, QWidget* parent = nullptr);

private:
    void refresh();
    void followIndex();

    AppState& m_state;
    SearchResultsModel* m_model;
    QLabel* m_heading;
    QListView* m_list;
    bool m_syncing = false;
};

// "Filters" in the masthead while any is set, saying which; a click clears them all.
class FiltersChip : public QPushButton {
    Q_OBJECT
public:
    FiltersChip(AppState& state, KeyRouter& router, QWidget* parent = nullptr);

private:
    void refresh();

    AppState& m_state;
};
