// Renders real folders offscreen; needs a display, so ctest runs it under xvfb-run. Set
// KORVANE_SCENE_IMAGES to a folder to keep the images it draws.
#include "scan/scanner.h"
#include "scene/labels.h"
#include "scene/offscreenview.h"
#include "scene/scenecontroller.h"
#include "support/testsupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QGuiApplication>

#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include <dlfcn.h>
#include <link.h>

using namespace Qt::StringLiterals;

namespace {

const QSize size(720, 480);

std::shared_ptr<FileNode> scanned(const QString& path)
{
    auto result = Scanner(path, std::make_shared<CancelFlag>()).scan();
    return std::holds_alternative<ScanResult>(result) ? std::get<ScanResult>(result).root : nullptr;
}

const FileNode& basic()
{
    static const auto root = scanned(QStringLiteral(KORVANE_TEST_DATA "/scan-basic"));
    return *root;
}

void keep(const QImage& image, const QString& name)
{
    const QString folder = qEnvironmentVariable("KORVANE_SCENE_IMAGES");
    if (!folder.isEmpty() && QDir().mkpath(folder))
        image.save(folder + u'/' + name + u".png");
}

int distance(QRgb a, QRgb b)
{
    return std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) + std::abs(qBlue(a) - qBlue(b));
}

// Pixels within `tolerance` (summed over the channels) of the colour.
int count(const QImage& image, const QColor& color, int tolerance)
{
    const QImage rgb = image.convertToFormat(QImage::Format_RGB32);
    int n = 0;
    for (int y = 0; y < rgb.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(rgb.constScanLine(y));
        for (int x = 0; x < rgb.width(); ++x)
            n += distance(line[x], color.rgb()) <= tolerance;
    }
    return n;
}

// The mean difference of the channels of two images of one size, from 0 to 255.
double meanDifference(const QImage& a, const QImage& b)
{
    double sum = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x)
            sum += distance(a.pixel(x, y), b.pixel(x, y));
    }
    return sum / (3.0 * a.width() * a.height());
}

// Pixels clearly darker in the first image than in the second.
int shaded(const QImage& image, const QImage& sunny)
{
    const QImage a = image.convertToFormat(QImage::Format_RGB32),
                 b = sunny.convertToFormat(QImage::Format_RGB32);
    int n = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
            n += qRed(p) + qGreen(p) + qBlue(p) + 12 < qRed(q) + qGreen(q) + qBlue(q);
        }
    }
    return n;
}

// True when every pixel of a band along the image's edges is the background: nothing is clipped.
bool clearEdges(const QImage& image, const QColor& background)
{
    const QImage rgb = image.convertToFormat(QImage::Format_RGB32);
    for (int y = 0; y < rgb.height(); ++y) {
        for (int x = 0; x < rgb.width(); ++x) {
            const bool edge = x < 3 || y < 3 || x >= rgb.width() - 3 || y >= rgb.height() - 3;
            if (edge && distance(rgb.pixel(x, y), background.rgb()) > 6)
                return false;
        }
    }
    return true;
}

SceneConfig config(VisualizationMode mode, bool dark)
{
    SceneConfig c;
    c.mode = mode;
    c.theme = Theme::of(dark);
    return c;
}

// Mesa's driver is unloaded when the display closes, and what it still holds would then look leaked
// to LeakSanitizer, from frames it can no longer name, so that no suppression could match them.
// Kept loaded, that memory stays reachable, and our own leaks still show.
void keepDriversLoaded()
{
    std::vector<std::string> drivers;
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* found) {
            const std::string_view path = info->dlpi_name ? info->dlpi_name : "";
            if (path.ends_with("_dri.so"))
                static_cast<std::vector<std::string>*>(found)->emplace_back(path);
            return 0;
        },
        &drivers);
    for (const std::string& driver : drivers)
        dlopen(driver.c_str(), RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}

} // namespace

TEST(Render, EachThemeDrawsTheCityOnItsBackgroundWithNothingClipped)
{
    for (const bool dark : { true, false }) {
        for (const VisualizationMode mode : { VisualizationMode::city, VisualizationMode::tree }) {
            SceneController scene;
            scene.build(basic(), config(mode, dark), true);
            QString error;
            const QImage image = renderImage(scene, size, 1, &error);
            ASSERT_FALSE(image.isNull()) << error.toStdString();
            EXPECT_EQ(image.size(), size);
            const QString name = modeName(mode) + (dark ? u"-dark" : u"-light");
            keep(image, name);
            const QColor paper = scene.theme().paper;
            EXPECT_LE(distance(image.pixel(0, 0), paper.rgb()), 3) << name.toStdString();
            EXPECT_TRUE(clearEdges(image, paper)) << name.toStdString();
            // Not blank: a good part of the picture is the city, in many shades.
            const int background = count(image, paper, 6);
            EXPECT_LT(
                background, size.width() * size.height() * (mode == VisualizationMode::city ? 0.75 : 0.9))
                << name.toStdString();
            QSet<QRgb> shades;
            for (int y = 0; y < image.height(); y += 3) {
                for (int x = 0; x < image.width(); x += 3)
                    shades.insert(image.pixel(x, y));
            }
            EXPECT_GT(shades.size(), 40) << name.toStdString();
            // In full sun every roof in sight shows its building's own colour, and the city's
            // shadows darken the ground.
            scene.setShadowsEnabled(false);
            const QImage sunny = renderImage(scene, size);
            if (mode == VisualizationMode::city) {
                EXPECT_GT(shaded(image, sunny), size.width() * size.height() / 200) << name.toStdString();
            }
            for (const VisibleEntity& v : scene.visibleEntities(size)) {
                if (v.kind != PlacementKind::building || scene.pick(v.point, size) != v.file)
                    continue;
                const QColor roof = scene.entityFor(v.file)->baseColor;
                int best = 1000;
                for (int dy = -2; dy <= 4; ++dy) {
                    for (int dx = -2; dx <= 2; ++dx) {
                        const QPoint p = v.point.toPoint() + QPoint(dx, dy);
                        if (sunny.rect().contains(p))
                            best = std::min(best, distance(sunny.pixel(p), roof.rgb()));
                    }
                }
                EXPECT_LT(best, 60) << name.toStdString() << " " << v.file->relativePath.toStdString();
            }
        }
    }
}

TEST(Render, TheSelectionShowsInTheAccentColourWithItsName)
{
    for (const bool dark : { true, false }) {
        SceneController scene;
        scene.build(basic(), config(VisualizationMode::city, dark), true);
        OffscreenView view;
        ASSERT_TRUE(view.create(size)) << view.error().toStdString();
        scene.camera().setAspect(1.5f);
        scene.camera().settle();
        const QColor accent = scene.theme().accent;
        view.draw(scene);
        const int before = count(view.image(scene, false), accent, 24);

        const FileNode* main = basic().find(u"src/main.c");
        ASSERT_TRUE(main);
        scene.setSelection(main);
        view.draw(scene);
        const QImage plain = view.image(scene, false);
        const int after = count(plain, accent, 24);
        EXPECT_EQ(before, 0);
        EXPECT_GT(after, 20);
        // The accent is where the building stands.
        const std::optional<QRectF> shape
            = SceneController::screenBounds(scene.viewProjection(size), scene.entityFor(main)->box(), size);
        ASSERT_TRUE(shape);
        const QRect inside = shape->toAlignedRect().adjusted(-4, -4, 4, 4) & plain.rect();
        EXPECT_GT(count(plain.copy(inside), accent, 24), after * 9 / 10);

        const QImage labelled = view.image(scene, true);
        keep(labelled, dark ? u"selected-dark"_s : u"selected-light"_s);
        EXPECT_GT(count(labelled, accent, 24), after); // the leader and the tag's bar
        EXPECT_GT(count(labelled, scene.theme().ink, 60), 15); // the name
    }
}

TEST(Render, AMovingCameraOnASoftwareRendererDrawsTheSamePictureWithLessDetail)
{
    SceneController scene;
    scene.build(basic(), config(VisualizationMode::city, false), true);
    OffscreenView view;
    ASSERT_TRUE(view.create(size, 1, 0)) << view.error().toStdString();
    scene.camera().setAspect(1.5f);
    scene.camera().settle();
    view.draw(scene);
    const QImage settled = view.image(scene, false);
    // A goal a hair away: the camera is moving, the picture all but the same.
    scene.camera().turn(1e-4f);
    ASSERT_FALSE(scene.camera().settled());
    view.draw(scene);
    const QImage moving = view.image(scene, false);
    ASSERT_EQ(moving.size(), settled.size());
    const double difference = meanDifference(moving, settled);
    EXPECT_LT(difference, 4) << "the moving frame is another picture";
    if (view.renderer().softwareContext()) {
        EXPECT_GT(difference, 0.05) << "the moving frame was drawn in full detail";
    }
    view.renderer().setAdaptiveDetail(false);
    view.draw(scene);
    EXPECT_LT(meanDifference(view.image(scene, false), settled), 0.05);
}

// Walls that other buildings hide are left out; nothing of the picture may change for it, in the
// city or the tree, whether the camera moves or rests, near or far, from any side.
TEST(Render, LeavingOutHiddenWallsChangesNothingSeen)
{
    const auto root = scanned(QStringLiteral(KORVANE_SOURCE_DIR "/src"));
    ASSERT_TRUE(root);
    OffscreenView view;
    ASSERT_TRUE(view.create(size, 1, 0)) << view.error().toStdString();
    Renderer& renderer = view.renderer();
    for (const VisualizationMode mode : { VisualizationMode::city, VisualizationMode::tree }) {
        SceneController scene;
        scene.build(*root, config(mode, true), true);
        scene.camera().setAspect(1.5f);
        const auto picture = [&](bool cut) {
            renderer.setWallCutting(cut);
            view.draw(scene);
            return view.image(scene, false).convertToFormat(QImage::Format_RGB32);
        };
        for (const float zoom : { 1.0f, 2.5f }) {
            scene.camera().home();
            scene.camera().zoom(zoom);
            for (const float turn : { 0.0f, 1.3f, 1.3f, 1.3f, 1.3f }) {
                scene.camera().turn(turn);
                scene.camera().settle();
                scene.camera().turn(1e-4f); // a moving frame first, then one at rest
                for (const bool moving : { true, false }) {
                    if (!moving)
                        scene.camera().settle();
                    const QImage whole = picture(false), cut = picture(true);
                    int changed = 0;
                    for (int y = 0; y < whole.height(); ++y) {
                        for (int x = 0; x < whole.width(); ++x)
                            changed += distance(whole.pixel(x, y), cut.pixel(x, y)) > 6;
                    }
                    EXPECT_LE(changed, 5)
                        << (mode == VisualizationMode::city ? "city" : "tree") << ", zoom " << zoom
                        << ", yaw " << scene.camera().current.yaw << (moving ? ", moving" : ", at rest");
                    if (changed > 5)
                        keep(cut, u"walls-cut"_s);
                }
            }
        }
    }
}

TEST(Render, APerspectiveHighDensityImageOfTheSourceTree)
{
    const auto root = scanned(QStringLiteral(KORVANE_SOURCE_DIR "/src"));
    ASSERT_TRUE(root);
    SceneController scene;
    scene.build(*root, config(VisualizationMode::city, true), true);
    scene.camera().setPerspective(true);
    const QImage image = renderImage(scene, size, 2);
    ASSERT_FALSE(image.isNull());
    EXPECT_EQ(image.size(), size * 2);
    EXPECT_EQ(image.devicePixelRatio(), 2);
    keep(image, u"source-perspective"_s);
    EXPECT_TRUE(clearEdges(image, scene.theme().paper));
}

// The names over a real folder's city: none overlaps another, none leaves the view, and the
// folders that take the most of the screen are named first.
TEST(Labels, NamesOverARealFolderNeverOverlapAndTheLargestLotsComeFirst)
{
    TempFolder folder;
    const std::pair<const char*, int> folders[]
        = { { "engine", 60 }, { "engine/render", 30 }, { "docs", 25 }, { "tools", 12 }, { "misc", 3 } };
    for (const auto& [name, files] : folders) {
        for (int i = 0; i < files; ++i)
            folder.write(u"%1/f%2.c"_s.arg(QLatin1StringView(name)).arg(i),
                QByteArray("int x;\n").repeated(5 + i % 40));
    }
    const auto root = scanned(folder.path());
    ASSERT_TRUE(root);
    for (const VisualizationMode mode : { VisualizationMode::city, VisualizationMode::tree }) {
        SceneController scene;
        scene.build(*root, config(mode, true), true);
        scene.camera().setAspect(float(size.width()) / float(size.height()));
        scene.camera().settle();
        const std::vector<SceneLabel> labels = placeLabels(scene, size);
        ASSERT_GE(labels.size(), 3u) << modeName(mode).toStdString();
        for (std::size_t i = 0; i < labels.size(); ++i) {
            EXPECT_TRUE(QRectF(QPointF(0, 0), QSizeF(size)).contains(labels[i].box))
                << labels[i].text.toStdString();
            for (std::size_t j = i + 1; j < labels.size(); ++j)
                EXPECT_FALSE(labels[i].box.intersects(labels[j].box))
                    << labels[i].text.toStdString() << " and " << labels[j].text.toStdString();
        }
        if (mode == VisualizationMode::city) {
            EXPECT_EQ(labels.front().text, u"engine/") << "the largest lot is named first";
            EXPECT_TRUE(std::any_of(
                labels.begin(), labels.end(), [](const SceneLabel& l) { return l.text == u"docs/"; }));
        }
        // With a file selected, no name covers its tag.
        scene.setSelection(root->find(u"docs/f3.c"));
        for (const SceneLabel& label : placeLabels(scene, size))
            EXPECT_NE(label.file, root->find(u"docs/f3.c")) << "the tag names the selection";
    }
}

// A folder drawn whole as one block is named with its count of files, and its lot is not named again.
TEST(Labels, AFolderDrawnWholeCarriesItsNameAndCount)
{
    const auto root = makeTree(manyFiles(u"src/gen/deep"_s, 2300) + u"src/main.c 400\nREADME.md 20\n"_s);
    SceneController scene;
    scene.build(*root, config(VisualizationMode::city, false), true);
    ASSERT_GT(scene.layout().aggregated, 0);
    scene.camera().setAspect(float(size.width()) / float(size.height()));
    scene.camera().settle();
    const std::vector<SceneLabel> labels = placeLabels(scene, size);
    const auto named = [&](const QString& text) {
        return std::count_if(
            labels.begin(), labels.end(), [&](const SceneLabel& l) { return l.text.startsWith(text); });
    };
    EXPECT_EQ(named(u"deep/ · 2,300 files"_s), 1);
    EXPECT_EQ(named(u"deep/"_s), 1) << "the block's lot is not named on its own";
}

int main(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    const int status = RUN_ALL_TESTS();
    keepDriversLoaded();
    return status;
}
