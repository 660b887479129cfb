#include "ui/importspanel.h"

#include "model/format.h"
#include "scene/scenecontroller.h"
#include "ui/style.h"

#include <QCheckBox>
#include <QLabel>
#include <QVBoxLayout>

#include <numeric>

namespace {

constexpr qsizetype listed = 40; // entries shown of one list; the rest are counted

} // namespace

ImportsPanel::ImportsPanel(AppState& state, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_show(new QCheckBox(QStringLiteral("Show imports"), this))
    , m_lists(new QLabel(this))
{
    m_show->setFocusPolicy(Qt::NoFocus);
    m_show->setToolTip(QStringLiteral("Draw the selected file's imports and importers over the buildings"));
    m_lists->setTextFormat(Qt::RichText);
    m_lists->setWordWrap(true);
    m_lists->setTextInteractionFlags(Qt::LinksAccessibleByMouse);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 6, 0, 0);
    layout->setSpacing(8);
    layout->addWidget(m_show);
    layout->addWidget(m_lists);

    DependencyController& imports = state.imports();
    connect(m_show, &QCheckBox::toggled, this, [&imports](bool on) { imports.setShowImports(on); });
    connect(m_lists, &QLabel::linkActivated, this, &ImportsPanel::choose);
    for (const auto signal :
        { &DependencyController::dependenciesChanged, &DependencyController::progressChanged,
            &DependencyController::showImportsChanged, &DependencyController::chosenCycleChanged })
        connect(&imports, signal, this, &ImportsPanel::refresh);
    for (const auto signal : { &AppState::selectionChanged, &AppState::viewRootChanged })
        connect(&state, signal, this, &ImportsPanel::refresh);
    connect(&state.display(), &DisplaySettings::modeChanged, this, &ImportsPanel::refresh);
    connect(&state.display(), &DisplaySettings::darkChanged, this, &ImportsPanel::refresh);
    refresh();
}

void ImportsPanel::refresh()
{
    const DependencyController& imports = m_state.imports();
    const VisualizationMode mode = m_state.display().mode();
    const bool graph = mode == VisualizationMode::graph;
    const bool overCity = mode == VisualizationMode::city || mode == VisualizationMode::tree;
    m_show->setVisible(overCity && m_state.root());
    m_show->blockSignals(true);
    m_show->setChecked(imports.showImports());
    m_show->blockSignals(false);

    const std::shared_ptr<const ImportsMap>& map = imports.dependencies();
    const FileNode* selection = m_state.selection();
    const QString faint = cssColor(Theme::of(m_state.display().dark()).ink3);
    const auto note = [&](const QString& words) {
        return QStringLiteral("<p style='color:%1'>%2</p>").arg(faint, words);
    };
    QString html;
    if (m_state.root() && (graph || (overCity && imports.showImports()))) {
        if (!map) {
            html = note(QStringLiteral("Reading imports…"));
        } else if (selection && !selection->isDirectory) {
            html = fileLists(*map, *selection);
        } else if (!graph) {
            html = note(QStringLiteral("Select a file to see what it imports."));
        } else if (map->cycles.empty()) {
            html = note(QStringLiteral("No import cycles."));
        } else {
            std::vector<qsizetype> all(map->cycles.size());
            std::iota(all.begin(), all.end(), 0);
            html = QStringLiteral("<p><b>Import cycles · %1</b></p>").arg(Format::grouped(qint64(all.size())))
                + cycleList(*map, all);
        }
    }
    m_lists->setText(html);
    m_lists->setVisible(!html.isEmpty());
    setVisible(m_show->isVisible() || !html.isEmpty());
}

QString ImportsPanel::fileLists(const ImportsMap& map, const FileNode& file) const
{
    const Theme& theme = Theme::of(m_state.display().dark());
    const auto list
        = [&](const QString& title, const QColor& color, const QList<const FileNode*>& files) -> QString {
        QString html
            = QStringLiteral("<p style='margin-top:6px'><span style='color:%1'>■</span> <b>%2 · %3</b><br>")
                  .arg(cssColor(color), title, Format::grouped(files.size()));
        for (qsizetype i = 0; i < std::min(files.size(), listed); ++i) {
            const FileNode* other = files[i];
            const QString folder
                = other->parent && other->parent->parent ? other->parent->relativePath : QString();
            html += QStringLiteral("<a href='file:%1' style='color:%2; text-decoration:none'>%3</a>")
                        .arg(map.graph.fileSlots.value(other))
                        .arg(cssColor(theme.ink), other->name.toHtmlEscaped());
            if (!folder.isEmpty())
                html += QStringLiteral(" <span style='color:%1'>%2</span>")
                            .arg(cssColor(theme.ink3), folder.toHtmlEscaped());
            html += QStringLiteral("<br>");
        }
        if (files.size() > listed)
            html += QStringLiteral("<span style='color:%1'>and %2 more</span>")
                        .arg(cssColor(theme.ink3), Format::grouped(files.size() - listed));
        if (files.isEmpty())
            html += QStringLiteral("<span style='color:%1'>none</span>").arg(cssColor(theme.ink3));
        return html + QStringLiteral("</p>");
    };
    QString html
        = list(QStringLiteral("Imports"), SceneController::importsColor(theme), map.graph.imports(file))
        + list(QStringLiteral("Imported by"), SceneController::importersColor(theme),
            map.graph.importedBy(file));
    const std::vector<qsizetype> cycles = map.cyclesOf(file);
    if (!cycles.empty())
        html += QStringLiteral("<p style='margin-top:6px'><span style='color:%1'>■</span> <b>In import "
                               "cycles · %2</b></p>")
                    .arg(cssColor(theme.accent), Format::grouped(qint64(cycles.size())))
            + cycleList(map, cycles);
    return html;
}

QString ImportsPanel::cycleList(const ImportsMap& map, const std::vector<qsizetype>& cycles) const
{
    const Theme& theme = Theme::of(m_state.display().dark());
    const std::optional<qsizetype> chosen = m_state.imports().chosenCycle();
    QString html;
    for (size_t i = 0; i < std::min(cycles.size(), size_t(listed)); ++i) {
        const qsizetype cycle = cycles[i];
        const QList<const FileNode*> files = map.filesOf(map.cycles[size_t(cycle)]);
        QStringList names;
        for (qsizetype f = 0; f < std::min<qsizetype>(files.size(), 4); ++f)
            names << files[f]->name.toHtmlEscaped();
        if (files.size() > 4)
            names << QStringLiteral("…");
        const bool lit = chosen == cycle;
        html += QStringLiteral(
            "<p style='margin:0 0 5px 0'><a href='cycle:%1' style='color:%2; text-decoration:none'>%3%4"
            "</a> <span style='color:%5'>%6</span></p>")
                    .arg(cycle)
                    .arg(cssColor(lit ? theme.accent : theme.ink), lit ? QStringLiteral("▸ ") : QString(),
                        Format::count(files.size(), u"file"), cssColor(theme.ink3),
                        names.join(QStringLiteral(", ")));
    }
    if (cycles.size() > size_t(listed))
        html += QStringLiteral("<p style='color:%1'>and %2 more</p>")
                    .arg(cssColor(theme.ink3), Format::grouped(qint64(cycles.size()) - listed));
    return html;
}

void ImportsPanel::choose(const QString& link)
{
    const std::shared_ptr<const ImportsMap>& map = m_state.imports().dependencies();
    if (!map)
        return;
    const qsizetype colon = link.indexOf(u':');
    bool ok = false;
    const qsizetype index = link.mid(colon + 1).toLongLong(&ok);
    if (!ok || index < 0)
        return;
    if (link.startsWith(u"file:") && size_t(index) < map->graph.files.size())
        m_state.select(map->graph.files[size_t(index)], true, false);
    else if (link.startsWith(u"cycle:"))
        m_state.imports().chooseCycle(
            m_state.imports().chosenCycle() == index ? std::nullopt : std::optional(index));
}
