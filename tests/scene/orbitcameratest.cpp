#include "scene/orbitcamera.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

QVector3D ndc(const OrbitCamera& camera, const QVector3D& point, float aspect)
{
    return (camera.projectionMatrix(aspect) * camera.viewMatrix()).map(point);
}

OrbitCamera movingCamera()
{
    OrbitCamera camera;
    camera.setUp(50);
    camera.current = { QVector3D(0, 0, 0), 0.2f, 0.5f, 2 };
    camera.goal = { QVector3D(10, 0, -4), 1.2f, 0.9f, 32 };
    return camera;
}

} // namespace

TEST(OrbitCamera, NoTimeMeansNoMovementAndAHugeStepSettlesOnTheGoal)
{
    OrbitCamera camera = movingCamera();
    const OrbitState before = camera.current;
    EXPECT_TRUE(camera.step(0));
    EXPECT_EQ(camera.current, before);
    EXPECT_FALSE(camera.step(1000));
    EXPECT_EQ(camera.current, camera.goal);
    EXPECT_FALSE(camera.step(1.0f / 60));
}

TEST(OrbitCamera, EasesAtTheSameRateWhateverTheFrameRate)
{
    OrbitCamera fast = movingCamera(), slow = movingCamera();
    for (int i = 0; i < 12; ++i)
        fast.step(1.0f / 120);
    for (int i = 0; i < 3; ++i)
        slow.step(1.0f / 30);
    EXPECT_NEAR(fast.current.yaw, slow.current.yaw, 1e-4);
    EXPECT_NEAR(fast.current.scale, slow.current.scale, 1e-3);
    EXPECT_NEAR((fast.current.target - slow.current.target).length(), 0, 1e-4);
    // A tenth of a second of a = 1 - e^-11t.
    const float a = 1 - std::exp(-1.1f);
    EXPECT_NEAR(fast.current.yaw, 0.2f + a * 1.0f, 1e-4);
}

TEST(OrbitCamera, ZoomPassesThroughTheGeometricMeanHalfway)
{
    OrbitCamera camera = movingCamera();
    // a = 1/2 after ln 2 / 11 seconds.
    camera.step(std::log(2.0f) / 11);
    EXPECT_NEAR(camera.current.scale, std::sqrt(2.0f * 32.0f), 1e-3);
    EXPECT_NEAR(camera.current.yaw, 0.7f, 1e-5);
    EXPECT_NEAR(camera.current.target.x(), 5, 1e-4);
}

TEST(OrbitCamera, PerspectiveShowsTheSameHeightAtTheTargetAsOrthographic)
{
    OrbitCamera camera;
    camera.setUp(40);
    camera.goal = { QVector3D(3, 0, 2), 0.7f, 0.6f, 9 };
    camera.settle();
    // A point one zoom above the target along the screen's up lies on the top edge in both.
    const QVector3D back = (camera.eye() - camera.current.target).normalized();
    const QVector3D right = QVector3D::crossProduct(QVector3D(0, 1, 0), back).normalized();
    const QVector3D up = QVector3D::crossProduct(back, right);
    const QVector3D top = camera.current.target + up * camera.current.scale;
    for (const bool perspective : { false, true }) {
        camera.perspective = perspective;
        EXPECT_NEAR(ndc(camera, top, 1.5f).y(), 1, 1e-4) << perspective;
        EXPECT_NEAR(ndc(camera, camera.current.target, 1.5f).x(), 0, 1e-5);
        // The eye stands along yaw and pitch: from above, and from +z when the yaw is 0.
        EXPECT_GT(camera.eye().y(), camera.current.target.y());
    }
    camera.perspective = true;
    EXPECT_NEAR(camera.distance(), 9 / std::tan(16 * float(M_PI) / 180), 1e-3);
}

TEST(OrbitCamera, HomeFramesTheWholeLayoutAndCommandsMoveTheGoal)
{
    OrbitCamera camera;
    const SceneBox city { QVector3D(-30, 0, -20), QVector3D(30, 12, 20) };
    camera.setUp(city);
    for (const float aspect : { 0.6f, 1.0f, 1.6f, 2.4f }) {
        camera.setAspect(aspect);
        camera.home();
        camera.settle();
        float reach = 0;
        for (int corner = 0; corner < 8; ++corner) {
            const QVector3D p((corner & 1) ? city.max.x() : city.min.x(),
                (corner & 2) ? city.max.y() : city.min.y(), (corner & 4) ? city.max.z() : city.min.z());
            const QVector3D at = ndc(camera, p, aspect);
            reach = std::max({ reach, std::abs(at.x()), std::abs(at.y()) });
            EXPECT_GT(at.z(), -1);
            EXPECT_LT(at.z(), 1);
        }
        // Everything inside, and the tightest side nearly filled.
        EXPECT_LE(reach, 1);
        EXPECT_GT(reach, 0.9);
    }

    const OrbitState home = camera.goal;
    camera.tilt(10);
    EXPECT_EQ(camera.goal.pitch, OrbitCamera::maxPitch);
    camera.tilt(-10);
    EXPECT_EQ(camera.goal.pitch, OrbitCamera::minPitch);
    camera.zoom(1e6f);
    EXPECT_EQ(camera.goal.scale, camera.minScale);
    camera.zoom(1e-6f);
    EXPECT_EQ(camera.goal.scale, camera.maxScale);
    camera.home();
    EXPECT_EQ(camera.goal, home);
    camera.follow(QVector3D(1, 2, 3));
    EXPECT_EQ(camera.goal.target, QVector3D(1, 2, 3));
    EXPECT_EQ(camera.goal.yaw, home.yaw);
}

TEST(OrbitCamera, PanSlidesTheViewAlongTheScreen)
{
    OrbitCamera camera;
    camera.setUp(40);
    camera.setAspect(2);
    const QVector3D start = camera.goal.target;
    camera.pan(1, 0);
    camera.settle();
    // The old target moves left by one half-height, a half of the half-width at aspect 2.
    const QVector3D seen = ndc(camera, start, 2);
    EXPECT_NEAR(seen.x(), -0.5, 1e-4);
    EXPECT_NEAR(seen.y(), 0, 1e-4);
    EXPECT_EQ(camera.goal.target.y(), start.y());
    camera.pan(-1, 1);
    camera.settle();
    EXPECT_GT(ndc(camera, start, 2).y(), 0.1); // the view went down, so the start shows higher
    EXPECT_NEAR(ndc(camera, start, 2).x(), 0, 1e-4);
}

TEST(OrbitCamera, FramingABoxFillsAboutHalfTheView)
{
    OrbitCamera camera;
    camera.setUp(80);
    const SceneBox tower { QVector3D(10, 0, 10), QVector3D(12, 8, 12) };
    camera.frame(tower);
    camera.settle();
    EXPECT_EQ(camera.current.target, tower.centre());
    const QVector3D top = ndc(camera, QVector3D(11, 8, 11), 1.5f);
    EXPECT_GT(top.y(), 0.2);
    EXPECT_LT(top.y(), 0.6);
}

TEST(OrbitCamera, HomeStaysFramedWhenTheViewChangesShapeOrProjection)
{
    OrbitCamera camera;
    // A tall tower at one corner of a flat square: lopsided, so centring matters.
    const std::vector<QVector3D> outline { { -20, 0, -20 }, { 20, 0, -20 }, { -20, 0, 20 }, { 20, 0, 20 },
        { 15, 30, 15 }, { 19, 30, 19 } };
    camera.setUp(SceneBox { QVector3D(-20, 0, -20), QVector3D(20, 30, 20) }, outline);
    camera.home();
    for (const float aspect : { 2.0f, 0.8f }) {
        camera.setAspect(aspect);
        for (const bool perspective : { true, false }) {
            camera.setPerspective(perspective);
            camera.settle();
            float x0 = 1, x1 = -1, y0 = 1, y1 = -1;
            for (const QVector3D& p : outline) {
                const QVector3D at = ndc(camera, p, aspect);
                x0 = std::min(x0, at.x());
                x1 = std::max(x1, at.x());
                y0 = std::min(y0, at.y());
                y1 = std::max(y1, at.y());
            }
            // Inside, centred, and filling one direction up to the margin.
            EXPECT_GE(x0, -1);
            EXPECT_LE(x1, 1);
            EXPECT_GE(y0, -1);
            EXPECT_LE(y1, 1);
            EXPECT_NEAR(x0 + x1, 0, 0.03);
            EXPECT_NEAR(y0 + y1, 0, 0.03);
            EXPECT_GT(std::max(x1 - x0, y1 - y0), 1.85);
        }
    }
    // Away from home, a change of shape leaves the goal alone.
    camera.zoom(2);
    const OrbitState zoomed = camera.goal;
    camera.setAspect(1.2f);
    camera.setPerspective(true);
    EXPECT_EQ(camera.goal, zoomed);
}
