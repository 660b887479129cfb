#include "ui/startup.h"

#include "state/preferences.h"

#include "scene/labels.h"
#include "ui/aboutbox.h"
#include "ui/mainwindow.h"
#include "ui/panels.h"
#include "ui/previewpanel.h"
#include "ui/sceneview.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QImageWriter>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>
#include <QPixmap>
#include <QTimer>

#include <cstdio>
#include <functional>

using namespace Qt::StringLiterals;

std::optional<QList<KeyPress>> parseKeys(const QString& text, QString* error)
{
    QList<KeyPress> keys;
    for (const QString& token : text.split(u' ', Qt::SkipEmptyParts)) {
        const QKeySequence sequence = QKeySequence::fromString(token, QKeySequence::PortableText);
        if (sequence.count() != 1 || sequence[0].key() == Qt::Key_unknown) {
            *error = QStringLiteral("unknown key \"%1\"").arg(token);
            return std::nullopt;
        }
        int key = sequence[0].key();
        const Qt::KeyboardModifiers modifiers = sequence[0].keyboardModifiers();
        const bool shift = modifiers & Qt::ShiftModifier;
        QString typed;
        if (key == Qt::Key_Tab && shift)
            key = Qt::Key_Backtab;
        else if (key >= Qt::Key_A && key <= Qt::Key_Z)
            typed = QChar(shift ? key : key - Qt::Key_A + u'a');
        else if (key >= Qt::Key_Space && key <= Qt::Key_AsciiTilde)
            typed = QChar(key);
        keys.append({ key, typed, modifiers });
    }
    return keys;
}

std::optional<QSize> parseSize(const QString& text)
{
    const QStringList parts = text.toLower().split(u'x');
    bool wide = false;
    bool high = false;
    const int width = parts.size() == 2 ? parts[0].toInt(&wide) : 0;
    const int height = parts.size() == 2 ? parts[1].toInt(&high) : 0;
    if (!wide || !high || width < 200 || height < 150 || width > 8192 || height > 8192)
        return std::nullopt;
    return QSize(width, height);
}

std::optional<CommitChoice> CommitChoice::parse(const QString& text)
{
    bool number = false;
    const qint64 value = text.toLongLong(&number);
    if (text.isEmpty() || (number && value < 0))
        return std::nullopt;
    return CommitChoice { text };
}

std::optional<qint64> CommitChoice::resolve(const HistoryIndex& index) const
{
    const qint64 last = index.commitCount() - 1;
    bool isNumber = false;
    const qint64 number = text.toLongLong(&isNumber);
    if (isNumber)
        return std::min(number, last);
    if (text == u"start")
        return -1;
    if (text == u"middle")
        return last / 2;
    if (text == u"end")
        return last;
    for (qint64 i = 0; i <= last; ++i) {
        if (index.commits[size_t(i)].hash.startsWith(text, Qt::CaseInsensitive))
            return i;
    }
    return std::nullopt;
}

StartupScript StartupScript::fromEnvironment(QString* error)
{
    StartupScript script;
    const auto variable = [](const char* name) -> std::optional<QString> {
        const QString value = qEnvironmentVariable(name);
        return value.isEmpty() ? std::nullopt : std::optional(value);
    };
    script.open = variable("KORVANE_OPEN");
    script.snapshot = variable("KORVANE_SNAPSHOT");
    script.stateFile = variable("KORVANE_STATE");
    script.timings = variable("KORVANE_TIMINGS").has_value();
    if (const auto keys = variable("KORVANE_KEYS")) {
        if (const auto parsed = parseKeys(*keys, error))
            script.keys = *parsed;
    }
    if (const auto size = variable("KORVANE_SIZE")) {
        script.size = parseSize(*size);
        if (!script.size)
            *error = QStringLiteral("KORVANE_SIZE must be WIDTHxHEIGHT, such as 1280x800");
    }
    return script;
}

namespace {

QJsonValue pathsOf(const QList<const FileNode*>& files)
{
    QJsonArray paths;
    for (const FileNode* file : files)
        paths.append(file->relativePath);
    return paths;
}

// The folder's imports as counts, and the selected file's imports and importers as paths.
void addImports(QJsonObject& object, const AppState& state)
{
    const DependencyController& imports = state.imports();
    const std::shared_ptr<const ImportsMap>& map = imports.dependencies();
    object.insert(u"dependencies"_s,
        map ? QJsonObject { { u"files"_s, qint64(map->graph.files.size()) },
            { u"edges"_s, qint64(map->graph.edges.size()) }, { u"external"_s, map->graph.external },
            { u"unresolved"_s, map->graph.unresolved }, { u"cycles"_s, qint64(map->cycles.size()) } }
            : QJsonValue());
    const std::optional<DependencyProgress>& progress = imports.progress();
    object.insert(u"dependencyProgress"_s,
        progress ? QJsonObject { { u"phase"_s, progress->phase }, { u"done"_s, progress->done },
            { u"total"_s, progress->total } }
                 : QJsonValue());
    const FileNode* selection = state.selection();
    const bool file = map && selection && !selection->isDirectory;
    object.insert(u"selectionImports"_s, file ? pathsOf(map->graph.imports(*selection)) : QJsonValue());
    object.insert(u"selectionImporters"_s, file ? pathsOf(map->graph.importedBy(*selection)) : QJsonValue());
    const std::optional<qsizetype> cycle = imports.chosenCycle();
    object.insert(
        u"chosenCycle"_s, map && cycle ? pathsOf(map->filesOf(map->cycles[size_t(*cycle)])) : QJsonValue());
    object.insert(u"showImports"_s, imports.showImports());
}

// The search and the other filters, with at most 200 of the files found; inside a walked-into
// file, of the parts found, by name.
void addSearch(QJsonObject& object, const AppState& state)
{
    constexpr qsizetype most = 200;
    const Filters& filters = state.filters();
    const SearchController& search = state.search();
    const auto named = [&search](const FileNode* found) {
        return search.inDocument() ? found->name : found->relativePath;
    };
    QJsonArray results;
    for (const FileNode* file : search.results().first(std::min(most, search.results().size())))
        results.append(named(file));
    QJsonObject hits;
    for (const FileNode* file : search.results().first(std::min(most, search.results().size()))) {
        if (const qint64 count = search.textHits().value(file); count > 0)
            hits.insert(named(file), count);
    }
    QStringList isolated(filters.isolated().begin(), filters.isolated().end());
    isolated.sort();
    object.insert(u"searchText"_s, filters.searchText());
    object.insert(u"searchInText"_s, filters.searchInText());
    object.insert(u"searchFocused"_s, filters.searchFocused());
    object.insert(u"searchIndex"_s, search.searchIndex());
    object.insert(u"searchResults"_s, results);
    object.insert(u"searchResultCount"_s, qint64(search.results().size()));
    object.insert(u"textQuery"_s, search.textQuery());
    object.insert(u"textHits"_s, hits);
    object.insert(u"textSkipped"_s, search.textSkipped());
    object.insert(u"textSearching"_s, search.textSearching());
    object.insert(u"textSearchRuns"_s, search.textSearchRuns());
    object.insert(u"isolated"_s, QJsonArray::fromStringList(isolated));
    object.insert(u"minChanges"_s, filters.minChanges());
    object.insert(u"hasFilters"_s, filters.hasFilters());
}

// The menu bar: each menu's items, a submenu's after its title ("Colour › Next"), with the action
// each performs (null for the window's own) and whether it can be asked for now.
void appendMenuItems(
    QJsonArray& items, const QMenu& menu, const MainWindow& window, const QString& prefix = {})
{
    for (const QAction* item : menu.actions()) {
        if (item->isSeparator())
            continue;
        const QString title = prefix + item->text().section(u'\t', 0, 0);
        if (item->menu()) {
            appendMenuItems(items, *item->menu(), window, title + QStringLiteral(" › "));
            continue;
        }
        const std::optional<Action> action = actionFromName(item->data().toString());
        items.append(QJsonObject { { QStringLiteral("title"), title },
            { QStringLiteral("action"), action ? QJsonValue(actionName(*action)) : QJsonValue() },
            { QStringLiteral("enabled"), action ? window.offered(*action) : item->isEnabled() } });
    }
}

QJsonArray menusJson(const MainWindow& window)
{
    QJsonArray menus;
    for (const QAction* entry : window.menus().actions()) {
        if (!entry->menu())
            continue;
        QJsonArray items;
        appendMenuItems(items, *entry->menu(), window);
        menus.append(QJsonObject {
            { QStringLiteral("title"), entry->text().remove(u'&') }, { QStringLiteral("items"), items } });
    }
    return menus;
}

// The newest commits the drawer holds, and what they are of.
QJsonValue recentCommitsJson(const CommitsController& recent)
{
    if (!recent.path())
        return QJsonValue();
    QJsonArray commits;
    for (const Commit& commit : recent.commits())
        commits.append(
            QJsonObject { { QStringLiteral("hash"), commit.hash }, { QStringLiteral("date"), commit.date },
                { QStringLiteral("author"), commit.author }, { QStringLiteral("subject"), commit.subject } });
    return QJsonObject { { QStringLiteral("path"), *recent.path() }, { QStringLiteral("commits"), commits } };
}

// The picker's list as shown: each folder's name, with "git" and its branch for a repository.
QJsonObject pickerJson(const FolderPicker& picker)
{
    QJsonArray entries;
    for (const FolderEntry& entry : picker.entries()) {
        QJsonObject object { { u"name"_s, entry.name }, { u"git"_s, entry.isGit } };
        if (entry.branch)
            object.insert(u"branch"_s, *entry.branch);
        entries.append(object);
    }
    const FolderEntry* highlighted = picker.highlighted();
    return { { u"filter"_s, picker.filter() }, { u"entries"_s, entries },
        { u"highlighted"_s, highlighted ? QJsonValue(highlighted->name) : QJsonValue() } };
}

// The file walked into: its document's program and counts, the part in focus and the part selected
// in its city.
void addStructure(QJsonObject& object, const StructureController& structure, const Panels& panels)
{
    object.insert(u"structureView"_s, structure.path() ? QJsonValue(*structure.path()) : QJsonValue());
    object.insert(u"structureTab"_s, modeName(panels.structureTab()));
    object.insert(u"structurePanel"_s, structure.panelShown());
    object.insert(u"fileCity"_s, structure.cityShown());
    const std::shared_ptr<const WebDocument>& document = structure.document();
    const auto part = [&document](const std::optional<qsizetype>& id) {
        if (!document || !id)
            return QJsonValue();
        const WebDocument::Node& node = document->nodes[std::size_t(*id)];
        return QJsonValue(QJsonObject {
            { u"id"_s, qint64(node.id) }, { u"name"_s, node.name }, { u"role"_s, roleName(node.role) } });
    };
    object.insert(u"symbolFocus"_s, part(structure.focus()));
    object.insert(u"selectedPart"_s, part(structure.selectedPart()));
    object.insert(u"document"_s,
        document ? QJsonValue(
            QJsonObject { { u"program"_s, document->program }, { u"parts"_s, qint64(document->nodes.size()) },
                { u"links"_s, qint64(document->links.size()) }, { u"truncated"_s, document->truncated } })
                 : QJsonValue());
}

QJsonValue cloningJson(const DownloadController& downloads)
{
    const std::optional<CloneProgress>& cloning = downloads.cloning();
    if (!cloning)
        return QJsonValue();
    return QJsonObject { { u"phase"_s, cloning->phase },
        { u"fraction"_s, cloning->fraction ? QJsonValue(*cloning->fraction) : QJsonValue() },
        { u"detail"_s, cloning->detail }, { u"slug"_s, downloads.cloningSlug() } };
}

QJsonValue timelineJson(const TimelineController& timeline)
{
    static constexpr std::array phases { "idle", "indexing", "ready", "failed" };
    const Commit* commit = timeline.commit();
    QJsonObject object { { u"phase"_s, QString::fromLatin1(phases[size_t(timeline.phase())]) },
        { u"position"_s, timeline.position() }, { u"commitCount"_s, timeline.commitCount() },
        { u"playing"_s, timeline.isPlaying() }, { u"speed"_s, timeline.speed() },
        { u"fileCount"_s, timeline.fileCount() }, { u"totalLines"_s, timeline.totalLines() },
        { u"commit"_s,
            commit ? QJsonObject { { u"hash"_s, commit->hash }, { u"subject"_s, commit->subject },
                { u"author"_s, commit->author }, { u"time"_s, commit->date } }
                   : QJsonValue() } };
    if (timeline.phase() == TimelineController::Phase::failed)
        object.insert(u"error"_s, timeline.error());
    return object;
}

} // namespace

QByteArray stateJson(const AppState& state, MainWindow& window)
{
    const SceneController& scene = window.sceneView().controller();
    const auto path
        = [](const FileNode* node) { return node ? QJsonValue(node->relativePath) : QJsonValue(); };
    const DisplaySettings& display = state.display();
    const Panels& panels = state.panels();
    QJsonObject object {
        { QStringLiteral("mode"), modeName(display.mode()) },
        { QStringLiteral("colorMode"), modeName(display.colorMode()) },
        { QStringLiteral("heightMode"), modeName(display.heightMode()) },
        { QStringLiteral("dark"), display.dark() },
        { QStringLiteral("selection"), path(state.selection()) },
        { QStringLiteral("viewRoot"), path(state.viewRoot()) },
        { QStringLiteral("railMode"), modeName(panels.railMode()) },
        { QStringLiteral("showDrawer"), panels.showDrawer() },
        { QStringLiteral("drawerWidth"), panels.drawerWidth() },
        { QStringLiteral("showKeys"), panels.showKeys() },
        { QStringLiteral("showPreview"), panels.showPreview() },
        { QStringLiteral("showMinimap"), panels.showMinimap() },
        { QStringLiteral("recents"), QJsonArray::fromStringList(state.recents().folders()) },
        { QStringLiteral("drawerLinks"), QJsonArray::fromStringList(window.drawer().links()) },
        { QStringLiteral("recentCommits"), recentCommitsJson(state.recentCommits()) },
        { QStringLiteral("menus"), menusJson(window) },
        { QStringLiteral("showPicker"), panels.showPicker() },
        { QStringLiteral("pickerPath"),
            panels.showPicker() ? QJsonValue(state.picker().path()) : QJsonValue() },
        { QStringLiteral("picker"), pickerJson(state.picker()) },
        { QStringLiteral("showRemote"), panels.showRemote() },
        { QStringLiteral("remoteText"), state.downloads().text() },
        { QStringLiteral("remoteHint"), state.downloads().hint() },
        { QStringLiteral("remoteFailure"),
            state.downloads().failure() ? QJsonValue(*state.downloads().failure()) : QJsonValue() },
        { QStringLiteral("cloning"), cloningJson(state.downloads()) },
        { QStringLiteral("downloaded"), QJsonArray::fromStringList(state.downloads().downloaded()) },
        { QStringLiteral("fullScreen"), panels.fullScreen() },
        { QStringLiteral("outlineKeys"), panels.outlineKeys().has_value() },
        { QStringLiteral("autoFrame"), display.autoFrame() },
        { QStringLiteral("errorMessage"),
            state.errorMessage() ? QJsonValue(*state.errorMessage()) : QJsonValue() },
        { QStringLiteral("root"), state.root() ? QJsonValue(state.root()->url) : QJsonValue() },
        { QStringLiteral("windowSize"), QJsonArray { window.width(), window.height() } },
        { QStringLiteral("about"), aboutDetails(window.sceneView().driver()) },
    };
    addImports(object, state);
    addSearch(object, state);
    addStructure(object, state.structure(), panels);
    const std::optional<PreviewKind> previewKind = window.preview().shownKind();
    object.insert(u"previewKind"_s, previewKind ? QJsonValue(Preview::kindName(*previewKind)) : QJsonValue());
    object.insert(u"hexMode"_s, panels.hexMode());
    object.insert(u"rawSource"_s, panels.rawSource());
    object.insert(u"previewKeys"_s, panels.previewKeys());
    object.insert(u"preview"_s, window.preview().facts());
    object.insert(u"timeline"_s, timelineJson(state.timeline()));
    // What the view draws: buildings, the layout's links, and what it says when it has nothing to show.
    const LayoutResult& layout = scene.layout();
    const qint64 buildings = std::count_if(layout.placements.begin(), layout.placements.end(),
        [](const Placement& placement) { return placement.kind == PlacementKind::building; });
    object.insert(u"drawn"_s,
        QJsonObject { { u"buildings"_s, buildings }, { u"links"_s, qint64(layout.edges.size()) } });
    // The colour keys, each with its words and how many buildings wear it.
    QJsonArray legend;
    for (const LegendEntry& entry : scene.legend())
        legend.append(QJsonObject { { u"label"_s, entry.label }, { u"count"_s, entry.count } });
    object.insert(u"legend"_s, legend);
    object.insert(u"readingHistory"_s, state.scan().readingHistory());
    const QString note = emptySceneNote(scene);
    object.insert(u"notice"_s, note.isEmpty() ? QJsonValue() : QJsonValue(note));
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

StartupRunner::StartupRunner(MainWindow& window, AppState& state, StartupScript script)
    : QObject(&window)
    , m_window(window)
    , m_state(state)
    , m_script(std::move(script))
{
}

void StartupRunner::start()
{
    if (m_script.size)
        m_window.resize(*m_script.size);
    m_clock.start();
    if (!m_script.open) {
        QTimer::singleShot(0, this, &StartupRunner::run);
        return;
    }
    // Keys wait for the folder: they run once its scan has ended, drawn or refused, and its commits
    // have arrived, so that they act on the whole of it.
    const auto scanEnded = [this] {
        if (m_state.scan().idle() && !m_ran)
            QTimer::singleShot(0, this, &StartupRunner::run);
    };
    connect(&m_state.scan(), &ScanController::scanningChanged, this, scanEnded);
    connect(&m_state.scan(), &ScanController::readingHistoryChanged, this, scanEnded);
    connect(&m_state, &AppState::rootChanged, this, [this] {
        if (!m_treeMs)
            m_treeMs = m_clock.elapsed();
    });
    if (m_script.timings)
        reportFirstCity();
    m_state.open(*m_script.open);
}

// How long the window took to draw the folder's city, and then to colour it by its commits.
void StartupRunner::reportFirstCity()
{
    SceneView& scene = m_window.sceneView();
    connect(&scene, &SceneView::built, this, [this, &scene] {
        if (m_cityBuilt || !m_state.root())
            return;
        m_cityBuilt = true;
        const qint64 layoutMs = scene.controller().layoutMilliseconds();
        const qint64 buildMs = std::max<qint64>(scene.lastBuildMilliseconds() - layoutMs, 0);
        connect(
            &scene, &QOpenGLWidget::frameSwapped, this,
            [this, layoutMs, buildMs] {
                std::fprintf(stderr,
                    "first city drawn %lld ms (tree %lld ms, layout %lld ms, scene build %lld ms)\n",
                    static_cast<long long>(m_clock.elapsed()), static_cast<long long>(m_treeMs.value_or(0)),
                    static_cast<long long>(layoutMs), static_cast<long long>(buildMs));
            },
            Qt::SingleShotConnection);
    });
    connect(&m_state, &AppState::commitsChanged, this, [this] {
        std::fprintf(stderr, "commits read %lld ms\n", static_cast<long long>(m_clock.elapsed()));
    });
}

void StartupRunner::run()
{
    if (m_ran)
        return;
    m_ran = true;
    m_scanMs = m_clock.elapsed();
    DisplaySettings& display = m_state.display();
    if (m_script.mode)
        display.setMode(*m_script.mode);
    if (m_script.color)
        display.setColorMode(*m_script.color);
    if (m_script.height)
        display.setHeightMode(*m_script.height);
    if (m_script.dark)
        display.setDark(*m_script.dark);
    if (m_script.showImports)
        m_state.imports().setShowImports(true);
    // Each step lets the window lay itself out and the scene build before the next one reads them.
    SceneView& scene = m_window.sceneView();
    const auto settle = [&] {
        QCoreApplication::processEvents();
        waitForOpening();
        waitForImports();
        waitForHistory();
        scene.flush();
        scene.settleCamera();
    };
    settle();
    if (m_script.at && display.mode() == VisualizationMode::history && m_state.timeline().isReady()) {
        TimelineController& timeline = m_state.timeline();
        const std::optional<qint64> position = m_script.at->resolve(*timeline.index());
        if (!position) {
            std::fprintf(stderr, "korvane: no commit \"%s\" in the history of %s\n",
                qPrintable(m_script.at->text), qPrintable(m_state.root()->url));
            emit finished(1);
            return;
        }
        timeline.move(*position);
        settle();
    }
    for (const QString& path : std::as_const(m_script.isolate)) {
        if (!m_state.root() || !m_state.root()->find(path)) {
            std::fprintf(stderr, "korvane: nothing called %s in the folder to isolate\n", qPrintable(path));
            emit finished(1);
            return;
        }
        m_state.filters().toggleIsolation(path);
    }
    if (m_script.minChanges > 0)
        m_state.filters().setMinChanges(m_script.minChanges);
    if (m_script.walkInto && !walkInto()) {
        emit finished(1);
        return;
    }
    QElapsedTimer& sinceKey = m_sinceKey; // since the search text last changed
    if (m_script.search) {
        sinceKey.start();
        m_state.filters().setSearchInText(m_script.searchInText);
        m_state.filters().setSearchText(*m_script.search);
    }
    settle();
    for (const KeyPress& key : m_script.keys) {
        // Typing goes on without waiting, as a quick typist's would; any other key acts on what
        // the text search has found by then.
        const bool typing = m_state.filters().searchFocused()
            && ((!key.text.isEmpty() && key.text[0].isPrint()) || key.key == Qt::Key_Backspace)
            && !(key.modifiers & (Qt::ControlModifier | Qt::MetaModifier));
        if (!typing)
            waitForSearch();
        // A key that walks into a file is timed to the first window put on the screen with the
        // file's city in it: read, stood up, built, drawn and composed.
        std::optional<qint64> cityShown;
        const QMetaObject::Connection walking = m_script.timings && !scene.showsPartCity()
            ? connect(&scene, &QOpenGLWidget::frameSwapped, this,
                [&] {
                    if (!cityShown && scene.showsPartCity())
                        cityShown = sinceKey.elapsed();
                })
            : QMetaObject::Connection();
        sinceKey.start();
        m_window.pressKey(key);
        const qint64 work = sinceKey.elapsed();
        settle(); // the window is drawn here, as after a key from the keyboard
        disconnect(walking);
        if (m_script.timings)
            m_keyTimes.append({ typing, work, sinceKey.elapsed() });
        if (cityShown)
            std::fprintf(stderr, "walked into %s: %lld ms to its city on the screen\n",
                qPrintable(*m_state.structure().path()), static_cast<long long>(*cityShown));
    }
    if (m_state.search().textPending() && sinceKey.isValid()) {
        waitForSearch();
        settle();
        m_foundMs = sinceKey.elapsed();
    }
    settle();
    // The drawer's commits are read by now, as a user who looks at it would find them; a key's time
    // never waits for them.
    waitForCommits();
    QCoreApplication::processEvents();
    if (m_script.quitsWhenDone())
        emit finished(finish());
}

namespace {

// Runs the event loop until `done` holds, asking each time `sender` emits `signal`; then lets what
// the end posted run. How long it waited, in ms.
template <typename Sender, typename Signal>
qint64 waitUntil(const Sender& sender, Signal signal, const std::function<bool()>& done)
{
    if (done())
        return 0;
    QElapsedTimer clock;
    clock.start();
    QEventLoop loop;
    QObject::connect(&sender, signal, &loop, [&] {
        if (done())
            loop.quit();
    });
    loop.exec();
    QCoreApplication::processEvents();
    return clock.elapsed();
}

} // namespace

// Selects the file, walks into it and shows its structure's view and its part; says why on standard
// error when it cannot.
bool StartupRunner::walkInto()
{
    const FileNode* file = m_state.root() ? m_state.root()->find(*m_script.walkInto) : nullptr;
    const std::optional<QString> refusal
        = file ? StructureController::refusal(*file) : QStringLiteral("it is not among the scanned files");
    if (refusal) {
        std::fprintf(stderr, "korvane: %s\n", qPrintable(*refusal));
        return false;
    }
    m_state.select(file);
    m_state.enter();
    waitForOpening();
    const StructureController& structure = m_state.structure();
    if (!structure.document()) {
        std::fprintf(
            stderr, "korvane: %s\n", qPrintable(m_state.errorMessage().value_or(*m_script.walkInto)));
        return false;
    }
    if (m_script.structureTab)
        m_state.panels().setStructureTab(*m_script.structureTab);
    if (m_script.focus) {
        // The part of that name (the first in the outline's order), else what defines the name.
        const WebDocument& document = *structure.document();
        std::optional<qsizetype> part = document.definition(*m_script.focus);
        for (const qsizetype id : document.drawn) {
            if (document.nodes[std::size_t(id)].name == *m_script.focus) {
                part = id;
                break;
            }
        }
        if (!part) {
            std::fprintf(stderr, "korvane: no part called %s in %s\n", qPrintable(*m_script.focus),
                qPrintable(*m_script.walkInto));
            return false;
        }
        m_state.structure().setFocus(*part);
    }
    QCoreApplication::processEvents();
    return true;
}

// A key that needs the imports (the graph, the imports over the city) is done once they are read, so
// that the next key acts on what the view then shows.
void StartupRunner::waitForImports()
{
    const DependencyController& imports = m_state.imports();
    m_importsMs
        += waitUntil(imports, &DependencyController::progressChanged, [&] { return !imports.isReading(); });
}

// A key that opens a folder (from the picker, the recent folders, a download) is done once the
// folder is open, and one that walks into a file once the file is read, so that the next key acts
// on what is then shown.
void StartupRunner::waitForOpening()
{
    const StructureController& structure = m_state.structure();
    waitUntil(structure, &StructureController::structureChanged, [&] { return !structure.isReading(); });
    const PreviewController& preview = m_state.preview();
    waitUntil(preview, &PreviewController::linesChanged, [&] { return !preview.reading(); });
    const DownloadController& downloads = m_state.downloads();
    waitUntil(downloads, &DownloadController::cloningChanged, [&] { return !downloads.cloning(); });
    const ScanController& scan = m_state.scan();
    waitUntil(scan, &ScanController::scanningChanged, [&] { return !scan.scanning(); });
}

// Until the drawer's commits are read, so that the state and the picture show them.
void StartupRunner::waitForCommits()
{
    const CommitsController& commits = m_state.recentCommits();
    waitUntil(commits, &CommitsController::commitsChanged, [&] { return !commits.isReading(); });
}

// The history view's keys act on the history once it is read.
void StartupRunner::waitForHistory()
{
    const TimelineController& timeline = m_state.timeline();
    m_historyMs += waitUntil(timeline, &TimelineController::phaseChanged, [&] {
        return m_state.display().mode() != VisualizationMode::history
            || timeline.phase() != TimelineController::Phase::indexing;
    });
}

void StartupRunner::waitForSearch()
{
    const SearchController& search = m_state.search();
    if (!search.textPending())
        return;
    // Asleep until the search has started and ended, as the window's own loop would be.
    QEventLoop loop;
    connect(&search, &SearchController::textSearchingChanged, &loop, [&] {
        if (search.textPending())
            return;
        if (m_sinceKey.isValid())
            m_readyMs = m_sinceKey.elapsed();
        loop.quit();
    });
    loop.exec();
}

void StartupRunner::printTimings(qint64 frameMs) const
{
    const SceneView& scene = m_window.sceneView();
    const qint64 layoutMs = scene.controller().layoutMilliseconds();
    std::fprintf(stderr,
        "tree %lld ms, scan %lld ms, imports %lld ms, history %lld ms, layout %lld ms, scene build %lld ms, "
        "first frame %lld ms\n",
        static_cast<long long>(m_treeMs.value_or(m_scanMs)), static_cast<long long>(m_scanMs),
        static_cast<long long>(m_importsMs), static_cast<long long>(m_historyMs),
        static_cast<long long>(layoutMs),
        static_cast<long long>(std::max<qint64>(scene.lastBuildMilliseconds() - layoutMs, 0)),
        static_cast<long long>(frameMs));
    // The median of a measure over the keys typed into the search field, or over the others.
    const auto median = [&](bool typed, qint64 KeyTime::*measure) -> std::optional<qint64> {
        QList<qint64> values;
        for (const KeyTime& time : m_keyTimes) {
            if (time.typed == typed)
                values.append(time.*measure);
        }
        if (values.isEmpty())
            return std::nullopt;
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    };
    if (const auto work = median(true, &KeyTime::work))
        std::fprintf(stderr, "search keys: median %lld ms of their own work, %lld ms to the window drawn\n",
            static_cast<long long>(*work), static_cast<long long>(*median(true, &KeyTime::drawn)));
    if (const auto drawn = median(false, &KeyTime::drawn))
        std::fprintf(
            stderr, "other keys: median %lld ms to the window drawn\n", static_cast<long long>(*drawn));
    if (m_foundMs)
        std::fprintf(stderr,
            "text search %lld ms from the last key to the results found, %lld ms to them drawn\n",
            static_cast<long long>(m_readyMs), static_cast<long long>(*m_foundMs));
}

int StartupRunner::finish()
{
    int status = 0;
    if (m_script.snapshot) {
        QElapsedTimer frame;
        frame.start();
        // The GL view draws into its own framebuffer, which the window's grab only copies: render
        // it fresh first, so the image shows the keys' last effect, at rest.
        m_window.sceneView().restoreShadows();
        m_window.sceneView().grabFramebuffer();
        const QPixmap image = m_window.grab();
        const qint64 frameMs = frame.elapsed();
        // An image without its scene would pass for a folder with nothing in it.
        if (const QString error = m_window.sceneView().drawingError(); !error.isEmpty()) {
            std::fprintf(stderr, "korvane: could not draw the scene: %s.\n", qPrintable(error));
            m_script.snapshot.reset();
            status = 1;
        }
        // The name's suffix picks any format Qt writes (png, jpg, bmp …); any other name gets a PNG.
        const QByteArray suffix = QFileInfo(*m_script.snapshot).suffix().toLower().toLatin1();
        const char* format = QImageWriter::supportedImageFormats().contains(suffix) ? nullptr : "PNG";
        if (m_script.snapshot && (image.isNull() || !image.save(*m_script.snapshot, format))) {
            std::fprintf(stderr, "Could not write the image %s.\n", qPrintable(*m_script.snapshot));
            status = 1;
        }
        if (m_script.timings)
            printTimings(frameMs);
    }
    if (m_script.stateFile) {
        const QByteArray json = stateJson(m_state, m_window);
        if (*m_script.stateFile == u"-") {
            std::fwrite(json.constData(), 1, std::size_t(json.size()), stdout);
            std::fflush(stdout);
        } else {
            QFile file(*m_script.stateFile);
            if (!file.open(QIODevice::WriteOnly) || file.write(json) != json.size()) {
                std::fprintf(stderr, "Could not write the state to %s.\n", qPrintable(*m_script.stateFile));
                status = 1;
            }
        }
    }
    return status;
}

namespace {

int runScript(MainWindow& window, AppState& state, const StartupScript& script)
{
    auto* runner = new StartupRunner(window, state, script);
    int status = 0;
    QObject::connect(runner, &StartupRunner::finished, qApp, [&status](int code) {
        status = code;
        QCoreApplication::exit(code);
    });
    runner->start();
    const int loop = QCoreApplication::exec();
    return script.quitsWhenDone() ? status : loop;
}

} // namespace

void useWindowFormat()
{
    Renderer::useDefaultFormat();
}

int runWindow(const std::optional<QString>& folder, bool timings)
{
    QString error;
    StartupScript script = StartupScript::fromEnvironment(&error);
    script.timings = script.timings || timings;
    if (!error.isEmpty()) {
        std::fprintf(stderr, "korvane: %s\n", qPrintable(error));
        return 2;
    }
    if (folder)
        script.open = folder;
    AppState state;
    Preferences preferences(state);
    MainWindow window(state);
    window.sceneView().drawForTheScreen();
    if (preferences.problem()) {
        std::fprintf(stderr, "korvane: %s.\n", qPrintable(*preferences.problem()));
        state.setErrorMessage(preferences.problem()->at(0).toUpper() + preferences.problem()->mid(1) + u'.');
    }
    if (script.size)
        window.resize(*script.size);
    else
        window.restoreGeometry(preferences.windowGeometry());
    window.show();
    const int status = runScript(window, state, script);
    preferences.rememberWindowGeometry(window.saveGeometry());
    return status;
}

int runSnapshot(const StartupScript& script)
{
    AppState state(nullptr, false);
    MainWindow window(state);
    // Laid out and drawn like a shown window, but never mapped on the screen.
    window.setAttribute(Qt::WA_DontShowOnScreen);
    window.resize(script.size.value_or(QSize(1400, 880)));
    window.show();
    return runScript(window, state, script);
}
