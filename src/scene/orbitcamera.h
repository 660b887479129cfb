#pragma once

#include <QMatrix4x4>
#include <QVector3D>

#include <numbers>
#include <vector>

// An axis-aligned box in scene units.
struct SceneBox {
    QVector3D min;
    QVector3D max;

    QVector3D centre() const { return (min + max) / 2; }
    QVector3D extent() const { return max - min; }
    bool operator==(const SceneBox& other) const = default;
};

// Where the camera looks from: the point looked at, the turn around the vertical axis, the
// elevation above the ground (radians) and the zoom, as the half-height of the view in scene units.
struct OrbitState {
    QVector3D target;
    float yaw = 0;
    float pitch = 0;
    float scale = 1;

    bool operator==(const OrbitState& other) const = default;
};

// A camera orbiting a target on the ground. Commands set the goal; step() eases the current state
// toward it frame by frame, so framing, zooming and turning glide instead of jumping. Orthographic
// (axonometric) by default; in perspective the camera stands where the target plane shows the same
// height as the orthographic view.
class OrbitCamera {
public:
    static constexpr float fieldOfView = 32; // degrees, vertical, in perspective
    static constexpr float defaultYaw = float(std::numbers::pi / 4);
    static constexpr float defaultPitch = 0.6f;
    static constexpr float minPitch = 0.08f;
    static constexpr float maxPitch = 1.5f;
    // The steps of the turn, tilt, pan and zoom keys.
    static constexpr float turnStep = float(std::numbers::pi / 12);
    static constexpr float tiltStep = 0.1f;
    static constexpr float panStep = 0.25f;
    static constexpr float zoomStep = 1.25f;

    OrbitCamera();

    OrbitState current;
    OrbitState goal;
    float minScale = 0.5f;
    float maxScale = 200;
    float farDistance = 400;
    bool perspective = false;

    // Eases the current state toward the goal by a frame of dt seconds; false once settled.
    bool step(float dt);
    // Jumps to the goal at once (snapshots, the first layout).
    void settle() { current = goal; }
    bool settled() const { return current == goal; }

    // A new layout: the zoom limits and the far distance follow its size, and home() frames the
    // outline points (the corners of the bounds when none are given).
    void setUp(const SceneBox& bounds, std::vector<QVector3D> outline = {});
    void setUp(float radius); // a layout of that radius around the origin
    float radius() const { return m_radius; }
    // The width-to-height ratio that framing fits boxes into; the view tells it when it resizes.
    void setAspect(float aspect);

    void turn(float step); // radians, around the vertical axis
    void tilt(float step); // radians, upward; the pitch stays within its limits
    // Moves what is looked at by dx to the right and dy down the screen, in half-heights of the
    // view (so 1 moves by the zoom's own size), along the ground.
    void pan(float dx, float dy);
    void zoom(float factor); // above 1 zooms in
    void home(); // the whole layout from the default angle
    void frame(const SceneBox& box); // one thing, filling most of the view, keeping the angle
    void follow(const QVector3D& point); // only the target moves
    // Switches the projection; a view that showed the whole layout is framed anew for the other one,
    // whose near parts look bigger.
    void setPerspective(bool on);
    void togglePerspective() { setPerspective(!perspective); }

    // The state a home() command aims at.
    OrbitState homeState() const;

    QVector3D eye() const { return eye(current); }
    float distance() const { return distance(current); } // from the eye to the target
    QMatrix4x4 viewMatrix() const { return viewMatrix(current); }
    QMatrix4x4 projectionMatrix(float aspect) const { return projectionMatrix(current, aspect); }
    // The scale that shows the whole box from the given angle in a view of the framing aspect.
    float fittingScale(const SceneBox& box, float yaw, float pitch) const;

private:
    float clampScale(float scale) const;
    QVector3D eye(const OrbitState& state) const;
    float distance(const OrbitState& state) const;
    QMatrix4x4 viewMatrix(const OrbitState& state) const;
    QMatrix4x4 projectionMatrix(const OrbitState& state, float aspect) const;

    SceneBox m_bounds;
    std::vector<QVector3D> m_outline;
    float m_radius = 4;
    float m_aspect = 1.5f;
};
