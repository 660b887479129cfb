#pragma once

#include "scene/scenecontroller.h"
#include "state/appstate.h"

#include <QElapsedTimer>
#include <QFrame>
#include <QTimer>
#include <QWidget>

class QLabel;
class QProgressBar;
class QPushButton;
class QSpinBox;

// A message shown in place over the view, dismissed with its button or Escape.
class MessageBanner : public QFrame {
    Q_OBJECT
public:
    explicit MessageBanner(AppState& state, QWidget* parent = nullptr);

private:
    QLabel* m_text;
};

// The phase of the scan, or of the imports' reading, with a bar of done and total.
class ProgressPanel : public QFrame {
    Q_OBJECT
public:
    explicit ProgressPanel(AppState& state, QWidget* parent = nullptr);
    void refresh();

private:
    static constexpr int repaintMs = 250;
    static constexpr int walkDelayMs = 150;
    bool walkingIn() const;
    AppState& m_state;
    QLabel* m_phase;
    QProgressBar* m_bar;
    QLabel* m_count;
    QElapsedTimer m_sinceShown;
    QTimer m_later; // shows the newest progress once a skipped one is due
    QTimer m_walkDelay; // runs from the start of a walk into a file until its reading is shown
};

// Every key that works, on "?".
class KeySheet : public QFrame {
    Q_OBJECT
public:
    explicit KeySheet(QWidget* parent = nullptr);
};

// Counts shown above the colour keys, such as the graph's files and links.
using LegendFact = QPair<QString, qint64>;

// The colour keys of the buildings in view, with how many use each, under any counts of the view.
class Legend : public QWidget {
    Q_OBJECT
public:
    explicit Legend(QWidget* parent = nullptr);
    // A note, when given, stands in for the colour keys: why there are none yet. `counted` names what
    // the counts count. The ranks of ages or changes are drawn as one bar from their low end to
    // their high end, both always in view.
    void setEntries(const QList<LegendEntry>& entries, const QList<LegendFact>& facts, const Theme& theme,
        const QString& note = {}, const QString& counted = QStringLiteral("buildings"));

signals:
    // A click on "N more" lists the rest, and on "fewer" folds them again: the legend's size changed.
    void resized();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    void fit();
    qsizetype listedCount() const; // the keys listed one a row, before the row that folds them
    bool folds() const { return m_entries.size() > foldedCount + 1; }
    QRect foldRow() const;

    static constexpr qsizetype foldedCount = 8, unfoldedMost = 30;
    bool m_unfolded = false;
    QList<LegendEntry> m_entries; // the keys listed one a row
    QList<LegendEntry> m_ranks; // the keys drawn as the bar
    QList<LegendFact> m_facts;
    QString m_note;
    QString m_counted;
    Theme m_theme = Theme::darkPalette();
    int m_labelWidth = 140;
    int m_foldTop = -1; // where the fold's row was last painted
};

// Lines per language as one bar, widest first.
class LanguageBar : public QWidget {
    Q_OBJECT
public:
    explicit LanguageBar(QWidget* parent = nullptr);
    void setShares(const QList<LanguageShare>& shares, bool dark);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QList<LanguageShare> m_shares;
    bool m_dark = true;
};

// The right drawer: what the selection is (or the view root when nothing is selected).
class Drawer : public QWidget {
    Q_OBJECT
public:
    explicit Drawer(AppState& state, QWidget* parent = nullptr);
    // The paths the drawer's lists link to, in their order.
    const QStringList& links() const { return m_links; }
    void refresh();

private:
    using Row = std::function<void(const QString& label, const QString& value)>;
    void fileRows(const FileNode& node, const Row& row) const;
    void historyRows(const FileNode& node, const Row& row) const;
    void refreshFilters();
    // In the wide drawer, for a folder: its largest and most changed files, each a link to the path
    // added to `links`.
    QString standouts(const FileNode& folder, QStringList* links) const;
    // In the wide drawer: the newest commits of the node, once git has listed them.
    QString recentCommits(const FileNode& node) const;

    AppState& m_state;
    QLabel* m_title;
    QLabel* m_path;
    QLabel* m_details;
    LanguageBar* m_bar;
    QLabel* m_languages;
    QLabel* m_standouts;
    QLabel* m_commits;
    QStringList m_links; // the paths m_standouts links to, in its order
    QPushButton* m_isolate;
    QPushButton* m_showAll;
    QWidget* m_changes; // "at least N commits", while colouring by churn
    QSpinBox* m_minChanges;
};
