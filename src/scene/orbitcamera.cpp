#include "scene/orbitcamera.h"

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

void OrbitCamera::setUp(const SceneBox& bounds, std::vector<QVector3D> outline)
{
    m_bounds = bounds;
    m_outline = std::move(outline);
    if (m_outline.empty()) {
        for (int corner = 0; corner < 8; ++corner) {
            m_outline.emplace_back((corner & 1) ? bounds.max.x() : bounds.min.x(),
                (corner & 2) ? bounds.max.y() : bounds.min.y(),
                (corner & 4) ? bounds.max.z() : bounds.min.z());
        }
    }
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
    if (!std::isfinite(aspect) || aspect <= 0)
        return;
    // A view that shows the whole layout keeps showing all of it in its new shape.
    const bool atHome = goal == homeState();
    m_aspect = aspect;
    if (atHome)
        goal = homeState();
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
    // The outline seen from the default angle: its extent across and up the screen sets the zoom,
    // and the middle of that extent becomes the target, so that the picture is centred however
    // lopsided the layout is.
    const QVector3D back = direction(defaultYaw, defaultPitch);
    const QVector3D right = QVector3D::crossProduct(QVector3D(0, 1, 0), back).normalized();
    const QVector3D up = QVector3D::crossProduct(back, right);
    const QVector3D centre = m_bounds.centre();
    float left = 0, rightmost = 0, bottom = 0, top = 0;
    for (const QVector3D& p : m_outline) {
        const float across = QVector3D::dotProduct(p - centre, right),
                    upward = QVector3D::dotProduct(p - centre, up);
        left = std::min(left, across);
        rightmost = std::max(rightmost, across);
        bottom = std::min(bottom, upward);
        top = std::max(top, upward);
    }
    constexpr float margin = 1.05f;
    OrbitState state { centre + right * (left + rightmost) / 2 + up * (bottom + top) / 2, defaultYaw,
        defaultPitch, std::max((top - bottom) / 2, (rightmost - left) / 2 / m_aspect) * margin };
    if (perspective) {
        // Near parts look bigger: measure the outline in the frustum, recentre on it and widen
        // until it fits. Each round takes off most of the error, so a few rounds settle it.
        for (int round = 0; round < 8; ++round) {
            const QMatrix4x4 matrix = projectionMatrix(state, m_aspect) * viewMatrix(state);
            float x0 = 0, x1 = 0, y0 = 0, y1 = 0;
            bool behind = false;
            for (const QVector3D& p : m_outline) {
                const QVector4D clip = matrix * QVector4D(p, 1);
                behind = behind || clip.w() <= 0;
                if (behind)
                    break;
                const float x = clip.x() / clip.w(), y = clip.y() / clip.w();
                x0 = std::min(x0, x);
                x1 = std::max(x1, x);
                y0 = std::min(y0, y);
                y1 = std::max(y1, y);
            }
            if (behind) {
                state.scale *= 2;
                continue;
            }
            const float reach = std::max(x1 - x0, y1 - y0) / 2;
            const float offX = (x0 + x1) / 2, offY = (y0 + y1) / 2;
            if (std::abs(reach * margin - 1) < 0.01f && std::abs(offX) < 0.01f && std::abs(offY) < 0.01f)
                break;
            state.target += right * (offX * state.scale * m_aspect) + up * (offY * state.scale);
            state.scale *= reach * margin;
        }
    }
    state.scale = clampScale(state.scale);
    return state;
}

void OrbitCamera::setPerspective(bool on)
{
    const bool atHome = goal == homeState();
    perspective = on;
    if (atHome)
        goal = homeState();
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

float OrbitCamera::distance(const OrbitState& state) const
{
    return perspective ? state.scale / tanHalfFov() : farDistance;
}

QVector3D OrbitCamera::eye(const OrbitState& state) const
{
    return state.target + direction(state.yaw, state.pitch) * distance(state);
}

QMatrix4x4 OrbitCamera::viewMatrix(const OrbitState& state) const
{
    QMatrix4x4 view;
    view.lookAt(eye(state), state.target, QVector3D(0, 1, 0));
    return view;
}

QMatrix4x4 OrbitCamera::projectionMatrix(const OrbitState& state, float aspect) const
{
    QMatrix4x4 projection;
    const float d = distance(state);
    // Depth enough for the whole layout wherever the target has been panned to.
    const float around = (state.target - m_bounds.centre()).length() + m_radius + 10;
    if (perspective) {
        projection.perspective(fieldOfView, aspect, std::max(d * 0.02f, 0.05f), d + around);
    } else {
        const float h = state.scale;
        projection.ortho(-h * aspect, h * aspect, -h, h, std::max(d - around, 0.1f), d + around);
    }
    return projection;
}
