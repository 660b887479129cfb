#include "scene/scenecontroller.h"
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
    // The graph view draws the city until the imports layout arrives.
    scene.build(*root, config(VisualizationMode::graph), true, {}, &only);
    EXPECT_FALSE(scene.entityFor(root->find(u"docs/guide.md")));
    EXPECT_TRUE(scene.entityFor(root->find(u"src/main.c")));
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
