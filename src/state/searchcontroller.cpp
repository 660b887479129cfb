#include "state/searchcontroller.h"

#include "scan/beneath.h"
#include "text/fuzzy.h"

#include <QStringTokenizer>

SearchController::SearchController(QThreadPool& pool, Filters& filters, QObject* parent)
    : StateController(parent)
    , m_filters(filters)
    , m_job(pool)
{
    m_debounce.setSingleShot(true);
    m_debounce.setInterval(debounceMs);
    connect(&m_debounce, &QTimer::timeout, this, &SearchController::startTextSearch);
    connect(&filters, &Filters::searchTextChanged, this, &SearchController::queryChanged);
    connect(&filters, &Filters::searchInTextChanged, this, &SearchController::queryChanged);
}

const FileNode* SearchController::current() const
{
    return m_index >= 0 && m_index < m_results.size() ? m_results.at(m_index) : nullptr;
}

bool SearchController::step(int step)
{
    const int count = int(m_results.size());
    if (count == 0)
        return false;
    // From no current result, the first step down lands on the first and the first step up on the last.
    const int from = m_index < 0 ? (step > 0 ? -1 : count) : m_index;
    return choose(((from + step) % count + count) % count);
}

bool SearchController::choose(int index)
{
    if (index < 0 || index >= m_results.size())
        return false;
    assign(m_index, index, &SearchController::searchIndexChanged);
    return true;
}

void SearchController::cancel()
{
    m_debounce.stop();
    m_job.cancel();
    setTextSearching(false);
}

void SearchController::folderChanged(const OpenFolder& folder)
{
    cancel();
    m_root = folder.root;
    m_city.reset();
    m_document.reset();
    readNames();
    m_textQuery.clear();
    m_textHits.clear();
    m_textSkipped = 0;
    publish({}, false);
}

void SearchController::searchDocument(
    std::shared_ptr<const PartCity> city, std::shared_ptr<const WebDocument> document)
{
    if (city == m_city)
        return;
    m_city = document ? std::move(city) : nullptr;
    m_document = m_city ? std::move(document) : nullptr;
    readNames();
    queryChanged();
}

void SearchController::readNames()
{
    m_names.clear();
    const auto add = [this](const FileNode& node) {
        m_names.push_back({ &node, node.name.toLower(), Fuzzy::initials(node.name) });
    };
    if (m_city) {
        // Every part, those holding others as well: a class is found by its name.
        std::vector<const FileNode*> walk { &m_city->root() };
        while (!walk.empty()) {
            const FileNode* node = walk.back();
            walk.pop_back();
            if (node != &m_city->root())
                add(*node);
            for (auto child = node->children.crbegin(); child != node->children.crend(); ++child)
                walk.push_back(child->get());
        }
    } else if (m_root) {
        m_root->forEach(add);
    }
}

void SearchController::queryChanged()
{
    cancel();
    if (!m_filters.searchInText()) {
        findNames();
        return;
    }
    if (m_city) {
        findLines();
        return;
    }
    // A blank query has nothing to wait for.
    if (!TextNeedle::make(m_filters.searchText())) {
        m_textQuery.clear();
        m_textHits.clear();
        m_textSkipped = 0;
        publish({}, false);
        return;
    }
    m_debounce.start();
}

void SearchController::findNames()
{
    const QStringList terms = Fuzzy::terms(m_filters.searchText());
    QList<const FileNode*> found;
    for (const Name& name : m_names) {
        const bool all = std::all_of(terms.begin(), terms.end(),
            [&](const QString& term) { return Fuzzy::termMatches(term, name.lower, name.initials); });
        if (all && !terms.isEmpty())
            found.append(name.node);
    }
    m_textQuery.clear();
    m_textHits.clear();
    m_textSkipped = 0;
    publish(std::move(found), !terms.isEmpty());
}

void SearchController::findLines()
{
    const std::optional<TextNeedle> needle = TextNeedle::make(m_filters.searchText());
    m_textQuery = needle ? needle->text() : QString();
    m_textHits.clear();
    m_textSkipped = 0;
    if (!needle) {
        publish({}, false);
        return;
    }
    // The innermost parts that hold a matching line: a class is marked through its methods.
    const QHash<qsizetype, QList<qint64>> hits = m_document->lineHits(*needle);
    QList<const FileNode*> found;
    for (const qsizetype id : m_document->drawn) {
        const auto lines = hits.constFind(id);
        const FileNode* node = m_city->node(id);
        if (lines == hits.cend() || !node)
            continue;
        const QList<qsizetype>& children = m_document->nodes[std::size_t(id)].children;
        if (std::any_of(children.begin(), children.end(),
                [&](qsizetype child) { return hits.contains(child) && m_city->node(child); }))
            continue;
        found.append(node);
        m_textHits.insert(node, lines->size());
    }
    publish(std::move(found), true);
}

void SearchController::startTextSearch()
{
    const std::optional<TextNeedle> needle = TextNeedle::make(m_filters.searchText());
    if (!needle || !m_root)
        return;
    ++m_runs;
    setTextSearching(true);
    m_job.start([root = m_root, needle = *needle](const CancelFlagPtr& cancel,
                    const auto&) { return FolderSearch::search(*root, needle, cancel); },
        [this, query = needle->text()](std::optional<TextSearchResult> result) {
            m_textQuery = query;
            finishTextSearch(std::move(result));
        });
}

void SearchController::finishTextSearch(std::optional<TextSearchResult> result)
{
    setTextSearching(false);
    if (!result)
        return;
    m_textHits = std::move(result->counts);
    m_textSkipped = result->skipped;
    publish(std::move(result->nodes), true);
}

void SearchController::publish(QList<const FileNode*> results, bool active)
{
    m_results = std::move(results);
    m_active = active;
    m_lit.clear();
    for (const FileNode* file : std::as_const(m_results)) {
        for (const FileNode* at = file; at && m_lit.insert(at).second; at = at->parent) { }
    }
    const bool moved = m_index != -1;
    m_index = -1;
    emit resultsChanged();
    if (moved)
        emit searchIndexChanged();
}

void SearchController::setTextSearching(bool searching)
{
    assign(m_textSearching, searching, &SearchController::textSearchingChanged);
}

int SearchController::firstHitLine(const FileNode& file) const
{
    const std::optional<TextNeedle> needle = TextNeedle::make(m_textQuery);
    if (!m_root || !needle || !m_textHits.contains(&file))
        return 0;
    const std::optional<QByteArray> bytes
        = Beneath(m_root->url).read(file.relativePath.toUtf8(), FolderSearch::sizeLimit);
    if (!bytes)
        return 0;
    const QString text = QString::fromUtf8(*bytes);
    int line = 1;
    for (const QStringView piece : QStringTokenizer(text, u'\n')) {
        if (needle->inLine(piece))
            return line;
        ++line;
    }
    return 0;
}
