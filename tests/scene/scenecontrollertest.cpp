#include "scene/scenecontroller.h"
#include "layout/citylayout.h"
#include "layout/graphlayout.h"
#include "scan/scanner.h"
#include "scene/labels.h"
#include "scene/offscreenview.h"
#include "scene/renderer.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QSet>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

const QSize view(1200, 800);

std::shared_ptr<FileNode> scanned(const QString& path)
{
    auto result = Scanner(path, std::make_shared<CancelFlag>()).scan();
    if (!std::holds_alternative<ScanResult>(result))
        return nullptr;
    return std::get<ScanResult>(result).root;
}

// A little city: top-level files, folders three deep, one tall file that gets a setback.
std::unique_ptr<FileNode> town()
{
    return makeTree(u"README.md 40\nMakefile 12\nsrc/main.c 900\nsrc/util.c 120\nsrc/util.h 30\n"
                    u"src/net/http.c 400\nsrc/net/http.h 20\nsrc/net/tls/tls.c 260\ndocs/guide.md 80\n"_s);
}

SceneConfig config(VisualizationMode mode = VisualizationMode::city, bool dark = true)
{
    SceneConfig c;
    c.mode = mode;
    c.theme = Theme::of(dark);
    return c;
}

QColor colorOf(const SceneInstance& instance)
{
    return QColor::fromRgbF(instance.color[0], instance.color[1], instance.color[2], instance.color[3]);
}

bool near(const QColor& a, const QColor& b)
{
    return std::abs(a.redF() - b.redF()) < 0.003 && std::abs(a.greenF() - b.greenF()) < 0.003
        && std::abs(a.blueF() - b.blueF()) < 0.003;
}

} // namespace

TEST(SceneController, OneEntityPerPlacementWithItsShape)
{
    const auto root = town();
    SceneController scene;
    scene.build(*root, config(), true);
    const LayoutResult& layout = scene.layout();
    ASSERT_EQ(scene.entities().size(), layout.placements.size());
    int setbacks = 0;
    for (size_t i = 0; i < layout.placements.size(); ++i) {
        const Placement& p = layout.placements[i];
        const EntityNode& e = scene.entities()[i];
        EXPECT_EQ(e.file, p.file);
        EXPECT_EQ(e.kind(), p.kind);
        const SceneBox box = e.box();
        EXPECT_FLOAT_EQ(box.min.y(), p.base.y);
        EXPECT_FLOAT_EQ(box.max.y(), p.base.y + p.size.y);
        EXPECT_NEAR(box.extent().x(), p.size.x, 1e-5);
        EXPECT_NEAR(box.extent().z(), p.size.z, 1e-5);
        if (p.kind == PlacementKind::building) {
            EXPECT_FLOAT_EQ(e.height, p.size.y);
            ASSERT_EQ(e.parts.size(), p.setback ? 2u : 1u);
            if (p.setback) {
                ++setbacks;
                const ScenePart& lower = e.parts[0];
                const ScenePart& upper = e.parts[1];
                EXPECT_FLOAT_EQ(lower.size.y(), 0.72f * p.size.y);
                EXPECT_FLOAT_EQ(upper.base.y(), p.base.y + 0.72f * p.size.y);
                EXPECT_FLOAT_EQ(upper.size.x(), 0.62f * p.size.x);
                EXPECT_FLOAT_EQ(upper.size.z(), 0.62f * p.size.z);
            }
        } else {
            EXPECT_EQ(e.height, 1);
            ASSERT_EQ(e.parts.size(), 1u);
            EXPECT_EQ(e.parts[0].kind, PartKind::plane);
            EXPECT_FALSE(e.parts[0].castsShadow);
        }
    }
    EXPECT_EQ(setbacks, 3); // main.c, http.c and tls.c, the files above 2.2 high
    // Every entity's parts are in the instance lists, behind the ground plane.
    size_t boxes = 0, planes = 0;
    for (const EntityNode& e : scene.entities()) {
        for (const ScenePart& part : e.parts)
            ++(part.kind == PartKind::box ? boxes : planes);
    }
    EXPECT_EQ(scene.boxInstances().size(), boxes);
    EXPECT_EQ(scene.planeInstances().size(), planes + 1);
}

TEST(SceneController, GroundLiesUnderTheCityOnlyAndIsBiggerThanItsSquare)
{
    const auto root = town();
    SceneController scene;
    scene.build(*root, config(), true);
    const SceneInstance& ground = scene.planeInstances().front();
    const TMRect& g = scene.layout().ground;
    EXPECT_NEAR(ground.size[0], g.width + 3.2, 1e-4);
    EXPECT_NEAR(ground.size[2], g.depth + 3.2, 1e-4);
    EXPECT_NEAR(ground.base[0], g.x + g.width / 2, 1e-4);
    EXPECT_EQ(ground.base[1], 0);
    EXPECT_TRUE(near(colorOf(ground), scene.theme().tarmac));

    scene.build(*root, config(VisualizationMode::tree), true);
    EXPECT_TRUE(scene.planeInstances().empty()); // no pavings in the tree, and no ground
    EXPECT_EQ(scene.lineVertices().size(), scene.layout().edges.size() * 2);
    for (const EntityNode& e : scene.entities()) {
        if (e.kind() == PlacementKind::junction) {
            EXPECT_EQ(e.colorKey, u"junction");
            EXPECT_TRUE(e.file->isDirectory);
        }
    }
}

TEST(SceneController, KeysAndPavingShadesDarkenWithDepthUpToALimit)
{
    QString text;
    for (int depth = 1; depth <= 7; ++depth) {
        QStringList parts;
        for (int i = 1; i <= depth; ++i)
            parts << u"d%1"_s.arg(i);
        text += parts.join(u'/') + u"/f.c 10\n";
    }
    const auto root = makeTree(text);
    for (const bool dark : { true, false }) {
        SceneController scene;
        scene.build(*root, config(VisualizationMode::city, dark), true);
        const Theme& theme = scene.theme();
        const double k = dark ? 0.16 : 0.22;
        int pavings = 0;
        for (const EntityNode& e : scene.entities()) {
            if (e.kind() == PlacementKind::building) {
                EXPECT_EQ(e.colorKey, u"lang:C");
                continue;
            }
            ++pavings;
            const qint64 depth = e.placement->depth;
            EXPECT_EQ(e.colorKey, u"pave:" + QString::number(depth));
            const QColor expected
                = mix(theme.stoneLit, theme.stoneDark, std::min(double(depth - 1) * k, 0.55));
            EXPECT_TRUE(near(e.baseColor, expected)) << depth;
            if (depth == 1) {
                EXPECT_EQ(e.baseColor, theme.stoneLit);
            }
        }
        EXPECT_EQ(pavings, 7);
    }
}

TEST(SceneController, LegendCountsTheBuildingsOfEachKey)
{
    const auto root = town();
    SceneController scene;
    scene.build(*root, config(), true);
    qint64 buildings = 0;
    for (const EntityNode& e : scene.entities())
        buildings += e.kind() == PlacementKind::building;
    qint64 counted = 0;
    QSet<QString> keys;
    for (const LegendEntry& entry : scene.legend()) {
        counted += entry.count;
        keys.insert(entry.key);
        EXPECT_FALSE(entry.key.startsWith(u"pave:"));
    }
    EXPECT_EQ(counted, buildings);
    EXPECT_EQ(keys.size(), scene.legend().size());
    // Languages by count, most first: the six C sources and headers.
    EXPECT_EQ(scene.legend().front().key, u"lang:C");
    EXPECT_EQ(scene.legend().front().label, u"C");
    EXPECT_EQ(scene.legend().front().count, 6);

    auto repo = town();
    repo->forEach([n = 0](FileNode& file) mutable { file.commits = n++ % 3; });
    SceneConfig churn = config();
    churn.color = ColorMode::churn;
    scene.build(*repo, churn, false);
    ASSERT_FALSE(scene.legend().isEmpty());
    EXPECT_EQ(scene.legend().front().key, u"none");
    EXPECT_EQ(scene.legend().front().count, 3);
    EXPECT_EQ(scene.legend().back().label, u"2 commits");
}

// A repository whose oldest file was last committed before the newest commits the scan reads: its
// city coloured by age shows that file in the legend's first entry, "older than the history read",
// and not as the newest file for the time it was checked out.
TEST(SceneController, TheAgeOfAFileOlderThanTheHistoryReadIsSaidSo)
{
    GitRepo repo;
    repo.write(u"ancient.txt"_s, "old\n");
    repo.commitAll(u"first"_s, 1400000000);
    repo.commitMany(Scanner::historyCommits + 1);
    const auto root = scanned(repo.path());
    ASSERT_TRUE(root);
    const FileNode& ancient = *root->find(u"ancient.txt"_s);
    ASSERT_FALSE(ancient.lastCommit) << "beyond the commits read";
    SceneConfig age = config();
    age.color = ColorMode::age;
    SceneController scene;
    scene.build(*root, age, true);
    ASSERT_FALSE(scene.legend().isEmpty());
    EXPECT_EQ(scene.legend().front().key, u"older");
    EXPECT_EQ(scene.legend().front().label, u"older than the history read");
    EXPECT_EQ(scene.legend().front().count, 1);
    const EntityNode* building = scene.entityFor(&ancient);
    ASSERT_TRUE(building);
    EXPECT_EQ(building->colorKey, u"older");
}

// A selected folder stands out: its lot takes the accent, what is inside keeps its colours, and the
// rest of the city steps back toward the paper. Selecting a file, or the graph's own focus, dims
// nothing this way.
class SelectedFolder : public testing::TestWithParam<VisualizationMode> { };

TEST_P(SelectedFolder, TintsItsLotAndDimsTheRest)
{
    const auto root = town();
    SceneController scene;
    scene.build(*root, config(GetParam()), true);
    const auto shown = [&](const char* path) {
        const EntityNode* entity = scene.entityFor(root->find(QString::fromUtf8(path)));
        const ScenePart& part = entity->parts.back();
        const auto& list = part.kind == PartKind::box ? scene.boxInstances() : scene.planeInstances();
        const auto found = std::find_if(list.begin(), list.end(), [&](const SceneInstance& i) {
            return i.base[0] == part.base.x() && i.base[1] == part.base.y() && i.base[2] == part.base.z();
        });
        return found == list.end() ? QColor() : colorOf(*found);
    };
    const QColor readme = shown("README.md"), http = shown("src/net/http.c"), net = shown("src/net");
    ASSERT_TRUE(readme.isValid() && http.isValid() && net.isValid());

    scene.setSelection(root->find(u"src/net"_s));
    EXPECT_TRUE(near(shown("src/net/http.c"), http)) << "inside keeps its colour";
    EXPECT_FALSE(near(shown("src/net"), net)) << "the folder's own lot is tinted";
    const QColor dimmed = shown("README.md");
    EXPECT_FALSE(near(dimmed, readme)) << "outside steps back";
    const auto distance = [](const QColor& a, const QColor& b) {
        return std::abs(a.redF() - b.redF()) + std::abs(a.greenF() - b.greenF())
            + std::abs(a.blueF() - b.blueF());
    };
    EXPECT_LT(distance(dimmed, scene.theme().paper), distance(readme, scene.theme().paper));

    scene.setSelection(root->find(u"src/net/http.c"_s));
    EXPECT_TRUE(near(shown("README.md"), readme)) << "a file selected dims nothing";
    scene.setSelection(root.get());
    EXPECT_TRUE(near(shown("README.md"), readme)) << "the whole folder selected dims nothing";
}

INSTANTIATE_TEST_SUITE_P(Views, SelectedFolder,
    testing::Values(VisualizationMode::city, VisualizationMode::tree),
    [](const testing::TestParamInfo<VisualizationMode>& info) {
        return info.param == VisualizationMode::city ? std::string("city") : std::string("tree");
    });

// The tree as drawn: no building reaches into a folder's plate, however tall it is, on the
// project's own sources and on folders made to crowd a plate: a single tall file straight below its
// folder, and a wide ring under a large plate.
class TreePlates : public testing::TestWithParam<const char*> { };

TEST_P(TreePlates, NoBuildingReachesIntoAPlate)
{
    std::shared_ptr<FileNode> root;
    const QString which = QString::fromUtf8(GetParam());
    if (which == u"sources") {
        root = scanned(QStringLiteral(KORVANE_SOURCE_DIR "/src"));
    } else {
        QString text = u"only/tall.c 90000\nonly/deeper/alone/tall.c 80000\n"_s;
        for (int i = 0; i < 200; ++i)
            text += u"crowd/f%1.c %2\n"_s.arg(i).arg(i * 400);
        text += u"crowd/sub/x.c 50000\n"_s;
        root = makeTree(text);
    }
    ASSERT_TRUE(root);
    SceneController scene;
    scene.build(*root, config(VisualizationMode::tree), true);
    std::vector<SceneBox> plates, buildings;
    std::vector<QString> plateNames, buildingNames;
    for (const EntityNode& entity : scene.entities()) {
        const bool plate = entity.kind() == PlacementKind::junction;
        (plate ? plates : buildings).push_back(entity.box());
        (plate ? plateNames : buildingNames).push_back(entity.file->relativePath);
    }
    ASSERT_FALSE(plates.empty());
    ASSERT_FALSE(buildings.empty());
    const auto apart = [](const SceneBox& a, const SceneBox& b) {
        for (int axis = 0; axis < 3; ++axis) {
            if (a.max[axis] <= b.min[axis] + 1e-4f || b.max[axis] <= a.min[axis] + 1e-4f)
                return true;
        }
        return false;
    };
    QStringList pierced;
    for (std::size_t b = 0; b < buildings.size(); ++b) {
        for (std::size_t p = 0; p < plates.size(); ++p) {
            if (!apart(buildings[b], plates[p]))
                pierced << buildingNames[b] + u" through "_s + plateNames[p];
        }
    }
    EXPECT_TRUE(pierced.isEmpty()) << pierced.join(u", "_s).toStdString();
}

INSTANTIATE_TEST_SUITE_P(Folders, TreePlates, testing::Values("sources", "crowded"));

// A folder's lines to its files fade as they crowd; its lines to folders keep their strength.
TEST(SceneController, ATreesCrowdedFansFadeAndItsFolderLinesStay)
{
    QString text = u"few/a.c 10\nfew/b.c 10\n"_s;
    for (int i = 0; i < 300; ++i)
        text += u"many/f%1.c 10\n"_s.arg(i);
    const auto root = makeTree(text);
    SceneController scene;
    scene.build(*root, config(VisualizationMode::tree), true);
    const std::vector<SceneLineVertex>& lines = scene.lineVertices();
    const auto alphaAt = [&](const FileNode* node) {
        const EntityNode* entity = scene.entityFor(node);
        float alpha = -1;
        for (std::size_t i = 1; i < lines.size(); i += 2) {
            const QVector3D end(lines[i].position[0], lines[i].position[1], lines[i].position[2]);
            if (std::abs(end.x() - entity->parts[0].base.x()) < 1e-3f
                && std::abs(end.z() - entity->parts[0].base.z()) < 1e-3f)
                alpha = lines[i].color[3];
        }
        return alpha;
    };
    const float folder = alphaAt(root->find(u"many"_s));
    const float few = alphaAt(root->find(u"few/a.c"_s));
    const float crowded = alphaAt(root->find(u"many/f7.c"_s));
    ASSERT_GT(folder, 0);
    EXPECT_FLOAT_EQ(few, folder);
    EXPECT_GT(crowded, 0);
    EXPECT_LT(crowded, folder / 4);
}

// A folder drawn whole has a hatched roof, drawn as lines on top of it, so that it is not taken for
// one large file; a plain building has none.
TEST(SceneController, AFolderDrawnWholeHasAHatchedRoof)
{
    const auto root = makeTree(manyFiles(u"gen/deep"_s, 2300) + u"main.c 400\n"_s);
    SceneController scene;
    scene.build(*root, config(), true);
    ASSERT_GT(scene.layout().aggregated, 0);
    const EntityNode* block = scene.entityFor(root->find(u"gen/deep"_s));
    ASSERT_TRUE(block);
    ASSERT_TRUE(block->placement->aggregate);
    const SceneBox roof = block->box();
    int onRoof = 0;
    for (const SceneLineVertex& v : scene.lineVertices()) {
        const bool over = v.position[0] >= roof.min.x() - 1e-3f && v.position[0] <= roof.max.x() + 1e-3f
            && v.position[2] >= roof.min.z() - 1e-3f && v.position[2] <= roof.max.z() + 1e-3f;
        onRoof += over && v.position[1] > roof.max.y();
    }
    EXPECT_GE(onRoof, 2 * (4 + 5)) << "the rim and five hatches";
    // The hatches are the detail a moving frame leaves out; a selection's outline is not.
    scene.setSelection(root->find(u"main.c"_s));
    const std::size_t detail = scene.detailLineStart();
    ASSERT_LT(detail, scene.lineVertices().size());
    EXPECT_GE(detail, std::size_t(2 * 12)) << "the selected building's outline comes first";
    EXPECT_EQ(scene.lineVertices().size() - detail, std::size_t(scene.layout().aggregated) * 2 * (4 + 5))
        << "only the roofs' lines after it";

    const auto plain = town();
    scene.build(*plain, config(), true);
    EXPECT_TRUE(scene.lineVertices().empty()) << "nothing drawn whole, nothing selected";
}

TEST(SceneController, PickAndScreenPointAgreeOnARealFolder)
{
    const auto root = scanned(QStringLiteral(KORVANE_TEST_DATA "/scan-basic"));
    ASSERT_TRUE(root);
    for (const VisualizationMode mode : { VisualizationMode::city, VisualizationMode::tree }) {
        SceneController scene;
        scene.build(*root, config(mode), true);
        const QList<VisibleEntity> visible = scene.visibleEntities(view);
        QSet<const FileNode*> listed;
        int buildings = 0;
        for (const VisibleEntity& v : visible) {
            EXPECT_FALSE(listed.contains(v.file)) << "listed twice";
            listed.insert(v.file);
            EXPECT_EQ(scene.screenPoint(v.file, view), v.point);
            if (v.kind != PlacementKind::building)
                continue;
            ++buildings;
            // The ray through a roof's centre meets that building, or one that stands in front of it
            // and is at least as tall.
            const FileNode* hit = scene.pick(v.point, view);
            ASSERT_TRUE(hit) << v.file->relativePath.toStdString();
            if (hit != v.file) {
                EXPECT_GE(scene.entityFor(hit)->box().max.y(), scene.entityFor(v.file)->box().max.y());
            }
        }
        // Home shows everything.
        EXPECT_EQ(buildings, root->fileCount) << modeName(mode).toStdString();
        EXPECT_EQ(scene.pick(QPointF(2, 2), view), nullptr);
        EXPECT_EQ(scene.pick(QPointF(600, 400), QSize()), nullptr);
    }
}

TEST(SceneController, TheTallestRoofIsPickedAtItsOwnScreenPointFromAnyAngle)
{
    const auto root = town();
    SceneController scene;
    scene.build(*root, config(), true);
    const FileNode* tallest = scene.layout().tallest->file;
    for (int turn = 0; turn < 8; ++turn) {
        for (const bool perspective : { false, true }) {
            scene.camera().perspective = perspective;
            scene.camera().turn(0.8f);
            scene.camera().settle();
            const auto point = scene.screenPoint(tallest, view);
            ASSERT_TRUE(point);
            EXPECT_EQ(scene.pick(*point, view), tallest);
            // Just beside the roof, beyond its far edge, lies something else.
            EXPECT_NE(scene.pick(*point - QPointF(0, 60), view), tallest);
        }
    }
    // The camera target sits in the middle of the view.
    scene.camera().follow(SceneController::focusPoint(*scene.entityFor(tallest)));
    scene.camera().settle();
    const auto centre = scene.screenPoint(tallest, view);
    EXPECT_NEAR(centre->x(), 600, 1e-3);
    EXPECT_NEAR(centre->y(), 400, 1e-3);
}

TEST(SceneController, SelectionFilterAndHiddenChangeTheInstancesAndSurviveARebuild)
{
    const auto root = town();
    SceneController scene;
    scene.build(*root, config(), true);
    const FileNode* util = root->find(u"src/util.c");
    const FileNode* http = root->find(u"src/net/http.c"); // drawn in two blocks
    const FileNode* net = root->find(u"src/net");
    const quint64 before = scene.generation();

    scene.camera().turn(1);
    scene.camera().step(0.5f);
    EXPECT_EQ(scene.generation(), before); // the camera moves nothing in the buffers

    scene.setSelection(util);
    EXPECT_NE(scene.generation(), before);
    const Theme& theme = scene.theme();
    const auto accentBoxes = [&] {
        return std::count_if(scene.boxInstances().begin(), scene.boxInstances().end(),
            [&](const SceneInstance& i) { return near(colorOf(i), theme.accent); });
    };
    EXPECT_EQ(accentBoxes(), 1);
    EXPECT_EQ(scene.lineVertices().size(), 24u); // the twelve edges of its box
    EXPECT_TRUE(scene.entityFor(util)->selected);

    // A folder's lot takes the accent mixed in, and only its outline is drawn.
    scene.setSelection(net);
    EXPECT_EQ(accentBoxes(), 0);
    EXPECT_EQ(scene.lineVertices().size(), 8u);
    EXPECT_EQ(scene.entityFor(net)->kind(), PlacementKind::paving);

    scene.setFilteredOut([](const FileNode& node) { return node.name.endsWith(u".h"); });
    int dimmed = 0;
    for (const EntityNode& e : scene.entities())
        dimmed += e.filteredOut;
    EXPECT_EQ(dimmed, 2);
    EXPECT_EQ(std::count_if(scene.boxInstances().begin(), scene.boxInstances().end(),
                  [](const SceneInstance& i) { return i.storeys == 0; }),
        2);

    const size_t boxes = scene.boxInstances().size();
    scene.setHidden([](const FileNode& node) { return node.name == u"http.c"; });
    EXPECT_EQ(scene.boxInstances().size(), boxes - 2);
    EXPECT_FALSE(scene.screenPoint(http, view));
    for (const VisibleEntity& v : scene.visibleEntities(view))
        EXPECT_NE(v.file, http);

    // A rebuild in another height mode keeps every mark.
    SceneConfig flat = config();
    flat.height = HeightMode::flat;
    scene.build(*root, flat, false);
    EXPECT_TRUE(scene.entityFor(net)->selected);
    EXPECT_TRUE(scene.entityFor(root->find(u"src/util.h"))->filteredOut);
    EXPECT_TRUE(scene.entityFor(http)->hidden);
    scene.clearFilter();
    EXPECT_FALSE(scene.entityFor(root->find(u"src/util.h"))->filteredOut);
}

TEST(SceneController, ATopLevelFileIsItsBuildingNotItsTile)
{
    const auto root = town();
    SceneController scene;
    scene.build(*root, config(), true);
    const FileNode* readme = root->find(u"README.md");
    int entities = 0;
    for (const EntityNode& e : scene.entities())
        entities += e.file == readme;
    EXPECT_EQ(entities, 2);
    EXPECT_EQ(scene.entityFor(readme)->kind(), PlacementKind::building);
    scene.setTouched({ readme });
    EXPECT_TRUE(scene.entityFor(readme)->touched);
    EXPECT_EQ(scene.lineVertices().size(), 24u);
    EXPECT_TRUE(near(QColor::fromRgbF(scene.lineVertices()[0].color[0], scene.lineVertices()[0].color[1],
                         scene.lineVertices()[0].color[2]),
        scene.theme().mark));
}

TEST(SceneController, CityOnlyKeepsTheListedNodesAndHistoryIgnoresTheList)
{
    const auto root = town();
    const NodeSet only { root->find(u"src"), root->find(u"src/main.c"), root->find(u"README.md") };
    SceneController scene;
    scene.build(*root, config(), true, {}, &only);
    for (const EntityNode& e : scene.entities())
        EXPECT_TRUE(only.contains(e.file)) << e.file->relativePath.toStdString();
    scene.build(*root, config(VisualizationMode::history), true, {}, &only);
    EXPECT_TRUE(scene.entityFor(root->find(u"docs/guide.md")));
}

namespace {

// The town's imports: main.c includes util.h and http.h, util.c util.h; http.c and tls.c include
// each other, a cycle.
std::shared_ptr<const ImportsMap> townImports(const std::shared_ptr<const FileNode>& root, bool linked = true)
{
    auto map = std::make_shared<ImportsMap>();
    map->tree = root;
    map->graph = DependencyGraph::ofTree(*root);
    const auto at
        = [&](const char* path) { return map->graph.fileSlots.value(root->find(QString::fromUtf8(path))); };
    if (linked) {
        for (const auto& [from, to] : { std::pair { "src/main.c", "src/util.h" },
                 { "src/main.c", "src/net/http.h" }, { "src/util.c", "src/util.h" },
                 { "src/net/http.c", "src/net/tls/tls.c" }, { "src/net/tls/tls.c", "src/net/http.c" } })
            map->graph.link(at(from), at(to));
    }
    map->positions = *GraphLayout::settle(map->graph);
    map->cycles = map->graph.cycles();
    return map;
}

// The segments of the outlines of the files' buildings: twelve edges a block.
int outlineSegments(const SceneController& scene, std::initializer_list<const FileNode*> files)
{
    int count = 0;
    for (const FileNode* file : files)
        count += 12 * int(scene.entityFor(file)->parts.size());
    return count;
}

// The line segments drawn in a colour.
int segmentsIn(const SceneController& scene, const QColor& color)
{
    int count = 0;
    const auto& lines = scene.lineVertices();
    for (size_t i = 0; i < lines.size(); i += 2) {
        const QColor shown = QColor::fromRgbF(lines[i].color[0], lines[i].color[1], lines[i].color[2]);
        count += near(shown, color);
    }
    return count;
}

} // namespace

TEST(SceneController, TheGraphViewDrawsEveryFileOfTheImportsAndWaitsForThem)
{
    const std::shared_ptr<const FileNode> root = town();
    SceneController scene;
    scene.build(*root, config(VisualizationMode::graph), true);
    EXPECT_TRUE(scene.entities().empty()) << "nothing until the imports are read";
    EXPECT_EQ(emptySceneNote(scene), QString()) << "the reading's progress speaks meanwhile";

    scene.setImports(townImports(root));
    scene.build(*root, config(VisualizationMode::graph), true);
    EXPECT_EQ(scene.entities().size(), size_t(root->fileCount));
    EXPECT_EQ(scene.layout().edges.size(), 5u);
    EXPECT_FALSE(scene.ground()) << "the graph stands on no lots";
    EXPECT_EQ(emptySceneNote(scene), QString());

    // A folder alone: its files, at the places they have in the whole graph, and the links among them.
    const FileNode* net = root->find(u"src/net"_s);
    const QVector3D whole = scene.entityFor(root->find(u"src/net/http.c"_s))->parts[0].base;
    scene.build(*net, config(VisualizationMode::graph), true);
    EXPECT_EQ(scene.entities().size(), 3u);
    EXPECT_EQ(scene.layout().edges.size(), 2u);
    EXPECT_EQ(scene.entityFor(root->find(u"src/net/http.c"_s))->parts[0].base, whole);
    // docs/ holds one file and no links between its files.
    scene.build(*root->find(u"docs"_s), config(VisualizationMode::graph), true);
    EXPECT_EQ(emptySceneNote(scene), u"No imports between the files here."_s);

    scene.setImports(townImports(root, false));
    scene.build(*root, config(VisualizationMode::graph), true);
    EXPECT_EQ(emptySceneNote(scene), u"No imports between the files here."_s);
}

TEST(SceneController, AFocusLightsItsLinksInTheirColoursAndDimsTheRest)
{
    const std::shared_ptr<const FileNode> root = town();
    const std::shared_ptr<const ImportsMap> imports = townImports(root);
    SceneController scene;
    scene.setImports(imports);
    scene.build(*root, config(VisualizationMode::graph), true);
    const Theme& theme = scene.theme();
    const FileNode* main = root->find(u"src/main.c"_s);
    const FileNode* util = root->find(u"src/util.h"_s);
    const FileNode* readme = root->find(u"README.md"_s);
    const auto shown = [&](const FileNode* file) {
        const EntityNode* entity = scene.entityFor(file);
        const auto found = std::find_if(
            scene.boxInstances().begin(), scene.boxInstances().end(), [&](const SceneInstance& box) {
                return box.base[0] == entity->parts[0].base.x() && box.base[2] == entity->parts[0].base.z();
            });
        return colorOf(*found);
    };
    const QColor before = shown(readme);
    EXPECT_EQ(segmentsIn(scene, SceneController::importsColor(theme)), 0);

    LinkFocus focus;
    focus.centre = main;
    focus.imports = { util, root->find(u"src/net/http.h"_s) };
    focus.importers = {};
    scene.setSelection(main);
    scene.setLinkFocus(focus);
    // Two links in the imports colour, each with its far building outlined.
    EXPECT_EQ(segmentsIn(scene, SceneController::importsColor(theme)),
        2 + outlineSegments(scene, { util, root->find(u"src/net/http.h"_s) }));
    EXPECT_FALSE(near(shown(readme), before)) << "a file outside the focus dims";
    EXPECT_TRUE(near(shown(util), scene.entityFor(util)->baseColor)) << "an import keeps its colour";

    // A cycle: its two links in the accent, its files outlined in it too.
    LinkFocus cycle;
    cycle.cycle = { root->find(u"src/net/http.c"_s), root->find(u"src/net/tls/tls.c"_s) };
    scene.setSelection(nullptr);
    scene.setLinkFocus(cycle);
    EXPECT_EQ(segmentsIn(scene, theme.accent),
        2 + outlineSegments(scene, { root->find(u"src/net/http.c"_s), root->find(u"src/net/tls/tls.c"_s) }));
    EXPECT_EQ(segmentsIn(scene, SceneController::importsColor(theme)), 0);

    scene.setLinkFocus({});
    EXPECT_TRUE(near(shown(readme), before));
}

TEST(SceneController, ImportsOverTheCityAreArcsToTheBuildingsDrawn)
{
    const std::shared_ptr<const FileNode> root = town();
    SceneController scene;
    scene.build(*root, config(), true);
    const size_t plain = scene.lineVertices().size();
    const FileNode* main = root->find(u"src/main.c"_s);
    LinkFocus focus;
    focus.arcs = true;
    focus.centre = main;
    focus.imports = { root->find(u"src/util.h"_s) };
    focus.importers = { root->find(u"src/net/http.c"_s) };
    scene.setLinkFocus(focus);
    const Theme& theme = scene.theme();
    EXPECT_EQ(segmentsIn(scene, SceneController::importsColor(theme)),
        24 + outlineSegments(scene, { root->find(u"src/util.h"_s) }));
    EXPECT_EQ(segmentsIn(scene, SceneController::importersColor(theme)),
        24 + outlineSegments(scene, { root->find(u"src/net/http.c"_s) }));
    // An arc rises above both roofs between its ends.
    float top = 0;
    for (const SceneLineVertex& vertex : scene.lineVertices())
        top = std::max(top, vertex.position[1]);
    EXPECT_GT(top, scene.entityFor(main)->box().max.y() + 1);

    // A file the view does not draw gets no arc.
    scene.setHidden([&](const FileNode& node) { return node.relativePath == u"src/util.h"_s; });
    EXPECT_EQ(segmentsIn(scene, SceneController::importsColor(theme)), 0);
    scene.setLinkFocus({});
    scene.setHidden({});
    EXPECT_EQ(scene.lineVertices().size(), plain);
}

TEST(SceneController, OnlyAFolderWithoutFilesSaysSoInTheMiddleOfTheView)
{
    SceneController scene;
    EXPECT_EQ(emptySceneNote(scene), QString()) << "nothing built yet";
    const TempFolder folder;
    folder.makeFolder(u"only/folders"_s);
    const auto empty = scanned(folder.path());
    ASSERT_TRUE(empty);
    for (const VisualizationMode mode : { VisualizationMode::city, VisualizationMode::tree }) {
        scene.build(*empty, config(mode), true);
        EXPECT_EQ(emptySceneNote(scene), u"This folder holds no files to draw."_s);
    }
    folder.write(u"only/folders/one.txt"_s, "a\n");
    scene.build(*scanned(folder.path()), config(), true);
    EXPECT_EQ(emptySceneNote(scene), QString());
}

TEST(SceneController, WithoutAGraphicsContextTheRendererSaysWhy)
{
    Renderer renderer;
    EXPECT_FALSE(renderer.initialize());
    EXPECT_FALSE(renderer.error().isEmpty());
    // No QGuiApplication in this test program: no image, and the reason.
    const auto root = town();
    SceneController scene;
    scene.build(*root, config(), true);
    QString error;
    EXPECT_TRUE(renderImage(scene, QSize(64, 64), 1, &error).isNull());
    EXPECT_EQ(error, u"Rendering needs a QGuiApplication.");
}

// The history view moves its buildings without laying the city out again: heights follow the
// nodes' lines on the scale of the build, absent files go, a fresh mark tints and outlines.
TEST(SceneController, RemeasuringMovesHeightsOnTheBuildsScaleAndHidesWhatIsAbsent)
{
    auto root = town();
    SceneController scene;
    scene.build(*root, config(VisualizationMode::history), true);
    FileNode& main = const_cast<FileNode&>(*root->find(u"src/main.c"_s));
    FileNode& guide = const_cast<FileNode&>(*root->find(u"docs/guide.md"_s));
    const float peak = scene.entityFor(&main)->height;
    const float guideBefore = scene.entityFor(&guide)->height;
    const qsizetype boxes = qsizetype(scene.boxInstances().size());

    main.lines = 225; // a quarter: the height falls as the layout's power of the share
    guide.fileCount = 0; // not there at this moment
    const auto absent = [](const FileNode& node) { return node.fileCount == 0; };
    scene.remeasure(absent);
    EXPECT_NEAR(scene.entityFor(&main)->height, CityLayout::buildingHeight(225, scene.layout()), 1e-4);
    EXPECT_LT(scene.entityFor(&main)->height, peak * 0.5f);
    EXPECT_TRUE(scene.entityFor(&guide)->hidden);
    EXPECT_LT(qsizetype(scene.boxInstances().size()), boxes);
    EXPECT_FALSE(scene.screenPoint(&guide, view));
    // The legend counts what is drawn.
    qint64 counted = 0;
    for (const LegendEntry& entry : scene.legend())
        counted += entry.count;
    EXPECT_EQ(counted, 8);

    // Back as it was: the same height as the build gave.
    guide.fileCount = 1;
    scene.remeasure(absent);
    EXPECT_FALSE(scene.entityFor(&guide)->hidden);
    EXPECT_FLOAT_EQ(scene.entityFor(&guide)->height, guideBefore);

    // A mark at half strength tints the building halfway toward the mark colour and rings it.
    const QColor plain = scene.entityFor(&guide)->parts.front().color;
    const size_t lines = scene.lineVertices().size();
    scene.setTouched(QHash<const FileNode*, float> { { &guide, 0.5f } });
    EXPECT_TRUE(near(scene.entityFor(&guide)->parts.front().color, mix(plain, config().theme.mark, 0.25)));
    EXPECT_GT(scene.lineVertices().size(), lines);
    scene.setTouched(QHash<const FileNode*, float>());
    EXPECT_TRUE(near(scene.entityFor(&guide)->parts.front().color, plain));
    EXPECT_EQ(scene.lineVertices().size(), lines);
}
