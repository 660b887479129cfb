#include "orbitcamera.h"

#include <algorithm>
#include <cmath>

namespace {

// The unit vector from the target toward the eye.
QVector3D direction(float yaw, float pitch)
{
    return { std::cos(pitch) * std::sin(yaw), std::sin(pitch), std::cos(pitch) * std::cos(yaw) };
}

float tanHalfFov()
{
    return std::tan(OrbitCamera::fieldOfView / 2 * float(std::numbers::pi) / 180);
}

} // namespace

OrbitCamera::OrbitCamera()
{
    setUp(4);
    goal = homeState();
    settle();
}

bool OrbitCamera::step(float dt)
{
    const float a = 1 - std::exp(-11 * std::max(dt, 0.0f));
    current.target += (goal.target - current.target) * a;
    current.yaw += (goal.yaw - current.yaw) * a;
    current.pitch += (goal.pitch - current.pitch) * a;
    current.scale = std::exp(std::log(current.scale) + a * (std::log(goal.scale) - std::log(current.scale)));
    const bool close = (goal.target - current.target).length() < current.scale * 0.0005f
        && std::abs(goal.yaw - current.yaw) < 0.0005f && std::abs(goal.pitch - current.pitch) < 0.0005f
        && std::abs(goal.scale - current.scale) / goal.scale < 0.0005f;
    if (close)
        current = goal;
    return !close;
}

void OrbitCamera::setUp(const SceneBox& bounds)
{
    m_bounds = bounds;
    m_radius = std::max(bounds.extent().length() / 2, 4.0f);
    minScale = 0.6f;
    maxScale = m_radius * 3;
    // Far enough that nothing of the layout stands behind the orthographic camera.
    farDistance = m_radius * 4 + 20;
    goal.scale = clampScale(goal.scale);
    current.scale = clampScale(current.scale);
}

void OrbitCamera::setUp(float radius)
{
    const QVector3D corner(radius, radius, radius);
    setUp(SceneBox { -corner / std::sqrt(3.0f), corner / std::sqrt(3.0f) });
}

void OrbitCamera::setAspect(float aspect)
{
    if (std::isfinite(aspect) && aspect > 0)
        m_aspect = aspect;
}

void OrbitCamera::turn(float step)
{
    goal.yaw += step;
}

void OrbitCamera::tilt(float step)
{
    goal.pitch = std::clamp(goal.pitch + step, minPitch, maxPitch);
}

void OrbitCamera::pan(float dx, float dy)
{
    // Screen right and screen up laid flat on the ground.
    const QVector3D right(std::cos(goal.yaw), 0, -std::sin(goal.yaw));
    const QVector3D down(std::sin(goal.yaw), 0, std::cos(goal.yaw));
    goal.target += (right * dx + down * dy) * goal.scale;
}

void OrbitCamera::zoom(float factor)
{
    if (factor > 0)
        goal.scale = clampScale(goal.scale / factor);
}

void OrbitCamera::home()
{
    goal = homeState();
}

OrbitState OrbitCamera::homeState() const
{
    const QVector3D centre = m_bounds.centre();
    OrbitState state { centre, defaultYaw, defaultPitch, 1 };
    state.scale = clampScale(fittingScale(m_bounds, defaultYaw, defaultPitch) * 1.04f);
    return state;
}

void OrbitCamera::frame(const SceneBox& box)
{
    goal.target = box.centre();
    // Enough room around the box to see where it stands.
    goal.scale = clampScale(std::max(fittingScale(box, goal.yaw, goal.pitch) * 2.2f, 3.0f));
}

void OrbitCamera::follow(const QVector3D& point)
{
    goal.target = point;
}

float OrbitCamera::fittingScale(const SceneBox& box, float yaw, float pitch) const
{
    const QVector3D back = direction(yaw, pitch);
    const QVector3D right = QVector3D::crossProduct(QVector3D(0, 1, 0), back).normalized();
    const QVector3D up = QVector3D::crossProduct(back, right);
    const QVector3D centre = box.centre();
    float across = 0, upward = 0;
    for (int corner = 0; corner < 8; ++corner) {
        const QVector3D p((corner & 1) ? box.max.x() : box.min.x(), (corner & 2) ? box.max.y() : box.min.y(),
            (corner & 4) ? box.max.z() : box.min.z());
        across = std::max(across, std::abs(QVector3D::dotProduct(p - centre, right)));
        upward = std::max(upward, std::abs(QVector3D::dotProduct(p - centre, up)));
    }
    return std::max(upward, across / m_aspect);
}

float OrbitCamera::clampScale(float scale) const
{
    return std::clamp(scale, minScale, maxScale);
}

float OrbitCamera::distance() const
{
    return perspective ? current.scale / tanHalfFov() : farDistance;
}

QVector3D OrbitCamera::eye() const
{
    return current.target + direction(current.yaw, current.pitch) * distance();
}

QMatrix4x4 OrbitCamera::viewMatrix() const
{
    QMatrix4x4 view;
    view.lookAt(eye(), current.target, QVector3D(0, 1, 0));
    return view;
}

QMatrix4x4 OrbitCamera::projectionMatrix(float aspect) const
{
    QMatrix4x4 projection;
    const float d = distance();
    // Depth enough for the whole layout wherever the target has been panned to.
    const float around = (current.target - m_bounds.centre()).length() + m_radius + 10;
    if (perspective) {
        projection.perspective(fieldOfView, aspect, std::max(d * 0.02f, 0.05f), d + around);
    } else {
        const float h = current.scale;
        projection.ortho(-h * aspect, h * aspect, -h, h, std::max(d - around, 0.1f), d + around);
    }
    return projection;
}
