#pragma once

#include "document/webdocument.h"
#include "layout/aggregation.h"
#include "layout/partcity.h"
#include "search/foldersearch.h"
#include "state/backgroundjob.h"
#include "state/filters.h"

#include <QHash>
#include <QList>
#include <QTimer>

#include <optional>
#include <vector>

// What the search text finds. By name: the files whose names match loosely, in the tree's order,
// found at once. In the files' text: the files with matching lines, most first, found in the
// background once the typing has paused (each change restarts the wait and cancels a search that
// runs). One result at a time is the current one, which Up and Down step through.
//
// Inside a file walked into, the same text finds its parts instead: by name among every part, and
// in its text the innermost parts whose lines hold it, with their counts, at once, since the file's
// lines are already read.
class SearchController : public StateController {
    Q_OBJECT

public:
    // The pause after the last change of the text before the files' text is searched.
    static constexpr int debounceMs = 220;

    SearchController(QThreadPool& pool, Filters& filters, QObject* parent = nullptr);

    // The files found, in order; empty without search text.
    const QList<const FileNode*>& results() const { return m_results; }
    // The files found and the folders that lead to them, to light in the views.
    const NodeSet& lit() const { return m_lit; }
    // Whether the views narrow to what was found: there is search text, and it has been looked for.
    bool isActive() const { return m_active; }
    // The current result, -1 for none.
    int searchIndex() const { return m_index; }
    const FileNode* current() const;

    // The text search: the query its results answer, the count of matching lines per file, the
    // files it passed over (binary or too large), and whether one is under way.
    const QString& textQuery() const { return m_textQuery; }
    const QHash<const FileNode*, qint64>& textHits() const { return m_textHits; }
    qint64 textSkipped() const { return m_textSkipped; }
    bool textSearching() const { return m_textSearching; }
    // The first line (from 1) of a file the text search found that holds the text, read again now;
    // 0 when the file was not found or no longer holds it.
    int firstHitLine(const FileNode& file) const;
    // How many text searches have started since the window opened.
    int textSearchRuns() const { return m_runs; }

    // Whether a text search waits for the typing to pause or runs.
    bool textPending() const { return m_debounce.isActive() || m_textSearching; }

    // Moves the current result by `step`, wrapping at either end; false with no results.
    bool step(int step);
    // Makes the result at `index` the current one; false when there is none there.
    bool choose(int index);
    // Stops a text search that waits or runs; its results never arrive.
    void cancel();

    void folderChanged(const OpenFolder& folder) override;
    // Searches inside the file walked into, whose parts stand in `city`; none searches the folder
    // again. The text is looked for anew either way.
    void searchDocument(std::shared_ptr<const PartCity> city, std::shared_ptr<const WebDocument> document);
    bool inDocument() const { return m_city != nullptr; }

signals:
    void resultsChanged();
    void searchIndexChanged();
    void textSearchingChanged();

private:
    // A name as the loose matcher reads it, kept for the whole tree so typing reads no name twice.
    struct Name {
        const FileNode* node;
        QString lower;
        QString initials;
    };

    void queryChanged();
    void readNames();
    void findNames();
    void findLines();
    void startTextSearch();
    void finishTextSearch(std::optional<TextSearchResult> result);
    void publish(QList<const FileNode*> results, bool active);
    void setTextSearching(bool searching);

    Filters& m_filters;
    std::shared_ptr<const FileNode> m_root;
    std::shared_ptr<const PartCity> m_city;
    std::shared_ptr<const WebDocument> m_document;
    std::vector<Name> m_names;
    QList<const FileNode*> m_results;
    NodeSet m_lit;
    bool m_active = false;
    int m_index = -1;
    QString m_textQuery;
    QHash<const FileNode*, qint64> m_textHits;
    qint64 m_textSkipped = 0;
    bool m_textSearching = false;
    int m_runs = 0;
    QTimer m_debounce;
    BackgroundJob<std::optional<TextSearchResult>> m_job;
};
