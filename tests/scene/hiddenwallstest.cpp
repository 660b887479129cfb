#include "scene/hiddenwalls.h"
#include "scene/entitynode.h"
#include "scene/orbitcamera.h"

#include <gtest/gtest.h>

#include <QVector3D>

#include <cmath>
#include <limits>
#include <ostream>
#include <random>
#include <vector>

namespace {

const QSize pixels(640, 400);

SceneInstance box(float x, float z, float width, float depth, float height, float foot = 0)
{
    return { { x, foot, z }, { width, height, depth }, { 0.5f, 0.5f, 0.5f, 1 }, 0, 1 };
}

// Blocks in rows and columns with streets between, of heights drawn from a seeded generator.
std::vector<SceneInstance> blocks(int side, float width, float street, float lowest, float highest)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<float> height(lowest, highest);
    std::vector<SceneInstance> boxes;
    const float pitch = width + street, start = -pitch * float(side - 1) / 2;
    for (int i = 0; i < side; ++i) {
        for (int j = 0; j < side; ++j)
            boxes.push_back(
                box(start + pitch * float(i), start + pitch * float(j), width, width, height(random)));
    }
    return boxes;
}

// A mixed district: wide low halls, tall thin towers, a building set back on another's roof.
std::vector<SceneInstance> district()
{
    std::vector<SceneInstance> boxes = blocks(6, 0.4f, 0.35f, 2, 9);
    boxes.push_back(box(-4, -4, 3, 1.2f, 1.5f));
    boxes.push_back(box(4, -3.5f, 1, 3, 5));
    boxes.push_back(box(4, 3.5f, 1.6f, 1.6f, 6));
    boxes.push_back(box(4, 3.5f, 1, 1, 3, 6)); // its upper storeys
    boxes.push_back(box(-3.5f, 4, 2.5f, 0.8f, 0.3f));
    return boxes;
}

// An angle, and a zoom of 1 to fit all the boxes in the view or more to look closer.
struct View {
    float yaw, pitch, zoom;
};

QMatrix4x4 viewProjection(const View& view, const std::vector<SceneInstance>& boxes, bool perspective = false)
{
    SceneBox bounds { QVector3D(1e9f, 1e9f, 1e9f), QVector3D(-1e9f, -1e9f, -1e9f) };
    for (const SceneInstance& b : boxes) {
        const QVector3D low(b.base[0] - b.size[0] / 2, b.base[1], b.base[2] - b.size[2] / 2);
        const QVector3D high(b.base[0] + b.size[0] / 2, b.base[1] + b.size[1], b.base[2] + b.size[2] / 2);
        for (int axis = 0; axis < 3; ++axis) {
            bounds.min[axis] = std::min(bounds.min[axis], low[axis]);
            bounds.max[axis] = std::max(bounds.max[axis], high[axis]);
        }
    }
    const float aspect = float(pixels.width()) / float(pixels.height());
    OrbitCamera camera;
    camera.setUp(bounds);
    camera.setAspect(aspect);
    camera.perspective = perspective;
    camera.goal.yaw = view.yaw;
    camera.goal.pitch = view.pitch;
    camera.goal.scale = camera.fittingScale(bounds, view.yaw, view.pitch) / view.zoom;
    camera.settle();
    return camera.projectionMatrix(aspect) * camera.viewMatrix();
}

// Whether a ray from the point toward the camera meets any of the boxes but the one it starts on.
bool covered(
    const std::vector<SceneInstance>& boxes, size_t own, const QVector3D& from, const QVector3D& toward)
{
    for (size_t i = 0; i < boxes.size(); ++i) {
        if (i == own)
            continue;
        const SceneInstance& b = boxes[i];
        const float low[3] = { b.base[0] - b.size[0] / 2, b.base[1], b.base[2] - b.size[2] / 2 };
        const float high[3] = { b.base[0] + b.size[0] / 2, b.base[1] + b.size[1], b.base[2] + b.size[2] / 2 };
        float enter = 0, leave = 1e9f;
        for (int axis = 0; axis < 3 && enter <= leave; ++axis) {
            const float o = from[axis], d = toward[axis];
            if (std::abs(d) < 1e-9f) {
                if (o < low[axis] || o > high[axis])
                    leave = -1;
                continue;
            }
            const float t0 = (low[axis] - o) / d, t1 = (high[axis] - o) / d;
            enter = std::max(enter, std::min(t0, t1));
            leave = std::min(leave, std::max(t0, t1));
        }
        if (enter <= leave)
            return true;
    }
    return false;
}

bool onScreen(const QMatrix4x4& viewProjection, const QVector3D& point)
{
    const QVector3D p = viewProjection.map(point);
    return std::abs(p.x()) <= 1 && std::abs(p.y()) <= 1;
}

struct Case {
    const char* name;
    std::vector<SceneInstance> boxes;
    View view;
    int leastCut; // points of cut walls on the screen, at least
};

void PrintTo(const Case& c, std::ostream* out)
{
    *out << c.name;
}

class HiddenWallsTest : public testing::TestWithParam<Case> { };

// Every point of a wall's cut foot is behind another building or off the screen: checked by
// casting a ray toward the camera from points spread over it.
TEST_P(HiddenWallsTest, WhatIsCutIsNeverSeen)
{
    const Case& c = GetParam();
    const QMatrix4x4 matrix = viewProjection(c.view, c.boxes);
    const std::vector<HiddenWalls::Hidden> hidden = HiddenWalls::heights(c.boxes, matrix, pixels);
    ASSERT_EQ(hidden.size(), c.boxes.size());
    const QVector3D toward = -matrix.row(2).toVector3D().normalized();
    int tested = 0; // points of cut walls on the screen
    for (size_t i = 0; i < c.boxes.size(); ++i) {
        const SceneInstance& b = c.boxes[i];
        for (const bool acrossX : { true, false }) {
            const float h = acrossX ? hidden[i].x : hidden[i].z;
            ASSERT_GE(h, 0);
            ASSERT_LE(h, b.size[1]);
            const float sideX = b.base[0] + (toward.x() > 0 ? 0.5f : -0.5f) * b.size[0];
            const float sideZ = b.base[2] + (toward.z() > 0 ? 0.5f : -0.5f) * b.size[2];
            for (int u = 0; u <= 8 && h > 0; ++u) {
                for (int v = 0; v <= 8; ++v) {
                    // From the foot to just under where the wall starts to show.
                    const float along = float(u) / 8 - 0.5f, up = h * float(v) / 8 * 0.999f;
                    const QVector3D point = acrossX
                        ? QVector3D(sideX, b.base[1] + up, b.base[2] + along * b.size[2])
                        : QVector3D(b.base[0] + along * b.size[0], b.base[1] + up, sideZ);
                    // A hair off the wall, so that the ray leaves its own box at once.
                    const QVector3D start = point + toward * 1e-4f;
                    if (!onScreen(matrix, point))
                        continue;
                    ++tested;
                    EXPECT_TRUE(covered(c.boxes, i, start, toward))
                        << "box " << i << (acrossX ? " x" : " z") << " wall cut to " << h
                        << " shows at height " << up;
                }
            }
        }
    }
    // The blocks stand close: much of what stands behind is cut, on the screen.
    EXPECT_GE(tested, c.leastCut) << "little was cut";
}

INSTANTIATE_TEST_SUITE_P(Views, HiddenWallsTest,
    testing::Values(
        Case { "blocks_home", blocks(8, 0.8f, 0.15f, 3, 6), { OrbitCamera::defaultYaw, 0.6f, 1 }, 2000 },
        Case { "blocks_other_quarter", blocks(8, 0.8f, 0.15f, 3, 6), { 2.5f, 0.6f, 1 }, 2000 },
        Case { "blocks_grazing", blocks(8, 0.8f, 0.15f, 1, 8), { 3.3f, 0.12f, 1 }, 2000 },
        // Walls seen from almost overhead or face on show a few pixels: cut or not, none may show.
        Case { "blocks_from_above", blocks(8, 0.8f, 0.15f, 1, 8), { 4.4f, 1.45f, 1 }, 0 },
        Case { "blocks_along_an_axis", blocks(8, 0.8f, 0.15f, 1, 8), { 0, 0.6f, 1 }, 0 },
        Case { "towers_zoomed_in", blocks(12, 0.15f, 0.4f, 4, 9), { 5.6f, 0.5f, 3.5f }, 200 },
        Case { "district", district(), { 1.1f, 0.7f, 1 }, 500 },
        Case { "narrow_streets_grazing", blocks(10, 0.6f, 0.01f, 0.5f, 6), { 1.2f, 0.15f, 2 }, 2000 },
        Case { "narrow_streets_close", blocks(10, 0.6f, 0.005f, 0.5f, 6), { 0.8f, 0.6f, 3 }, 2000 },
        Case { "district_behind", district(), { 4.0f, 0.35f, 1.4f }, 500 }),
    [](const testing::TestParamInfo<Case>& info) { return info.param.name; });

// A wall with nothing in front of it, at the edge of the city, is drawn whole.
TEST(HiddenWalls, AWallWithNothingBeforeItIsKept)
{
    const std::vector<SceneInstance> lone { box(0, 0, 1, 1, 4) };
    const auto hidden = HiddenWalls::heights(lone, viewProjection({ 0.8f, 0.6f, 1 }, lone), pixels);
    ASSERT_EQ(hidden.size(), 1U);
    EXPECT_EQ(hidden[0].x, 0);
    EXPECT_EQ(hidden[0].z, 0);
}

// A low block close behind a tall one is hidden whole; one far behind only at its foot.
TEST(HiddenWalls, ABlockBehindATallerOneIsHiddenByHowCloseItStands)
{
    // Seen from +x and +z (toward the camera), the tall block is in front.
    const View view { OrbitCamera::defaultYaw, 0.6f, 1 };
    const std::vector<SceneInstance> near { box(0, 0, 2, 2, 6), box(-1.6f, -1.6f, 1, 1, 2) };
    const QVector3D toward = -viewProjection(view, near).row(2).toVector3D();
    ASSERT_GT(toward.x(), 0);
    ASSERT_GT(toward.z(), 0);
    const auto close = HiddenWalls::heights(near, viewProjection(view, near), pixels);
    EXPECT_FLOAT_EQ(close[1].x, 2);
    EXPECT_FLOAT_EQ(close[1].z, 2);
    EXPECT_EQ(close[0].x, 0);
    // A long low hall before a tower: rays from the tower's foot meet it, from higher up pass over.
    const std::vector<SceneInstance> far { box(0, -1.5f, 2, 5, 1), box(-2, -2, 1, 1, 6) };
    const auto apart = HiddenWalls::heights(far, viewProjection(view, far), pixels);
    EXPECT_GT(apart[1].x, 0);
    EXPECT_LT(apart[1].x, 1);
}

// A perspective camera's view is not cut: every height is zero.
TEST(HiddenWalls, PerspectiveIsLeftWhole)
{
    const std::vector<SceneInstance> boxes = blocks(6, 0.8f, 0.15f, 3, 6);
    const auto hidden = HiddenWalls::heights(boxes, viewProjection({ 0.8f, 0.6f, 1 }, boxes, true), pixels);
    for (const HiddenWalls::Hidden& h : hidden) {
        EXPECT_EQ(h.x, 0);
        EXPECT_EQ(h.z, 0);
    }
}

} // namespace

// Boxes no layout makes (flat, inside out, not numbers, past any screen) are taken without harm: a
// height is never below zero nor above the box's own.
TEST(HiddenWalls, OddBoxesGiveHeightsWithinTheirBoxes)
{
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    std::vector<SceneInstance> boxes = blocks(4, 0.8f, 0.15f, 2, 5);
    boxes.push_back(box(0, 0, 0, 0, 0));
    boxes.push_back(box(0.5f, 0.5f, -1, -1, -2));
    boxes.push_back(box(nan, 0, 1, 1, 3));
    boxes.push_back(box(0, 0, 1, 1, nan));
    boxes.push_back(box(inf, -inf, 1, 1, 3));
    boxes.push_back(box(1e30f, 1e30f, 1e30f, 1e30f, 1e30f));
    boxes.push_back(box(-1, -1, 1e-30f, 1e-30f, 3));
    for (const float yaw : { 0.0f, 0.7f, 2.9f }) {
        const std::vector<SceneInstance> framed = blocks(4, 0.8f, 0.15f, 2, 5);
        const auto hidden = HiddenWalls::heights(boxes, viewProjection({ yaw, 0.6f, 1 }, framed), pixels);
        ASSERT_EQ(hidden.size(), boxes.size());
        for (size_t i = 0; i < boxes.size(); ++i) {
            for (const float h : { hidden[i].x, hidden[i].z }) {
                EXPECT_GE(h, 0) << "box " << i;
                EXPECT_TRUE(h == 0 || h <= boxes[i].size[1]) << "box " << i;
            }
        }
    }
}
