#include "renderer.h"

#include "scenecontroller.h"
#include "shaders.h"

#include <QOpenGLContext>
#include <QOpenGLShaderProgram>

#include <array>
#include <cmath>

namespace {

struct MeshVertex {
    float position[3];
    float normal[3];
};

// A unit box standing on the origin: x and z in [-0.5, 0.5], y in [0, 1]; faces wound
// counter-clockwise seen from outside.
std::vector<MeshVertex> boxMesh()
{
    struct Face {
        QVector3D n, u, v; // u × v = n
    };
    const Face faces[] = {
        { { 1, 0, 0 }, { 0, 1, 0 }, { 0, 0, 1 } },
        { { -1, 0, 0 }, { 0, 0, 1 }, { 0, 1, 0 } },
        { { 0, 1, 0 }, { 0, 0, 1 }, { 1, 0, 0 } },
        { { 0, -1, 0 }, { 1, 0, 0 }, { 0, 0, 1 } },
        { { 0, 0, 1 }, { 1, 0, 0 }, { 0, 1, 0 } },
        { { 0, 0, -1 }, { 0, 1, 0 }, { 1, 0, 0 } },
    };
    std::vector<MeshVertex> mesh;
    for (const Face& face : faces) {
        const QVector3D centre = QVector3D(0, 0.5f, 0) + face.n / 2;
        const std::array<QVector3D, 4> corners { centre + (-face.u - face.v) / 2,
            centre + (face.u - face.v) / 2, centre + (face.u + face.v) / 2, centre + (-face.u + face.v) / 2 };
        for (const int i : { 0, 1, 2, 0, 2, 3 }) {
            const QVector3D& p = corners[size_t(i)];
            mesh.push_back({ { p.x(), p.y(), p.z() }, { face.n.x(), face.n.y(), face.n.z() } });
        }
    }
    return mesh;
}

// A unit square lying flat at height 0, facing up.
std::vector<MeshVertex> planeMesh()
{
    std::vector<MeshVertex> mesh;
    const float corners[4][2] = { { -0.5f, -0.5f }, { -0.5f, 0.5f }, { 0.5f, 0.5f }, { 0.5f, -0.5f } };
    for (const int i : { 0, 1, 2, 0, 2, 3 })
        mesh.push_back({ { corners[i][0], 0, corners[i][1] }, { 0, 1, 0 } });
    return mesh;
}

QVector3D rgb(const QColor& color)
{
    const QColor c = color.toRgb();
    return { c.redF(), c.greenF(), c.blueF() };
}

const void* offset(size_t bytes)
{
    return reinterpret_cast<const void*>(bytes);
}

} // namespace

QSurfaceFormat Renderer::defaultFormat()
{
    QSurfaceFormat format;
    format.setRenderableType(QSurfaceFormat::OpenGL);
    format.setVersion(3, 3);
    format.setProfile(QSurfaceFormat::CoreProfile);
    format.setDepthBufferSize(24);
    format.setStencilBufferSize(8);
    format.setSamples(4);
    return format;
}

void Renderer::useDefaultFormat()
{
    QSurfaceFormat::setDefaultFormat(defaultFormat());
}

QVector3D Renderer::lightDirection()
{
    return QVector3D(0.55f, 0.78f, -0.3f).normalized();
}

Renderer::Renderer() = default;

Renderer::~Renderer() = default;

bool Renderer::initialize()
{
    if (m_initialized)
        return true;
    QOpenGLContext* context = QOpenGLContext::currentContext();
    if (!context) {
        m_error = QStringLiteral("No OpenGL context is current.");
        return false;
    }
    const auto [major, minor] = context->format().version();
    if (context->isOpenGLES() || std::pair(major, minor) < std::pair(3, 3) || !initializeOpenGLFunctions()) {
        m_error = QStringLiteral("OpenGL 3.3 is needed; the driver offers %1%2.%3.")
                      .arg(context->isOpenGLES() ? QStringLiteral("OpenGL ES ") : QString())
                      .arg(major)
                      .arg(minor);
        return false;
    }

    const auto program = [&](const char* vertex, const char* fragment, const char* name) {
        auto p = std::make_unique<QOpenGLShaderProgram>();
        if (!p->addShaderFromSourceCode(QOpenGLShader::Vertex, vertex)
            || !p->addShaderFromSourceCode(QOpenGLShader::Fragment, fragment) || !p->link()) {
            m_error
                = QStringLiteral("The %1 shader does not build: %2").arg(QLatin1StringView(name), p->log());
            return std::unique_ptr<QOpenGLShaderProgram>();
        }
        return p;
    };
    m_surface = program(Shaders::surfaceVertex, Shaders::surfaceFragment, "surface");
    m_shadow = m_surface ? program(Shaders::shadowVertex, Shaders::shadowFragment, "shadow") : nullptr;
    m_line = m_shadow ? program(Shaders::lineVertex, Shaders::lineFragment, "line") : nullptr;
    if (!m_line) {
        m_surface.reset();
        m_shadow.reset();
        return false;
    }

    const auto meshBuffer = [&](const std::vector<MeshVertex>& mesh) {
        GLuint buffer = 0;
        glGenBuffers(1, &buffer);
        glBindBuffer(GL_ARRAY_BUFFER, buffer);
        glBufferData(
            GL_ARRAY_BUFFER, GLsizeiptr(mesh.size() * sizeof(MeshVertex)), mesh.data(), GL_STATIC_DRAW);
        return buffer;
    };
    m_boxMesh = meshBuffer(boxMesh());
    m_planeMesh = meshBuffer(planeMesh());
    glGenBuffers(1, &m_boxInstances);
    glGenBuffers(1, &m_planeInstances);
    glGenBuffers(1, &m_lineBuffer);

    // Mesh attributes per vertex, the instance record per instance.
    const auto surfaceArray = [&](GLuint mesh, GLuint instances) {
        GLuint array = 0;
        glGenVertexArrays(1, &array);
        glBindVertexArray(array);
        glBindBuffer(GL_ARRAY_BUFFER, mesh);
        glEnableVertexAttribArray(0);
        glVertexAttribPointer(
            0, 3, GL_FLOAT, GL_FALSE, sizeof(MeshVertex), offset(offsetof(MeshVertex, position)));
        glEnableVertexAttribArray(1);
        glVertexAttribPointer(
            1, 3, GL_FLOAT, GL_FALSE, sizeof(MeshVertex), offset(offsetof(MeshVertex, normal)));
        glBindBuffer(GL_ARRAY_BUFFER, instances);
        const struct {
            GLuint location;
            GLint count;
            size_t at;
        } fields[] = { { 2, 3, offsetof(SceneInstance, base) }, { 3, 3, offsetof(SceneInstance, size) },
            { 4, 4, offsetof(SceneInstance, color) }, { 5, 2, offsetof(SceneInstance, storeys) } };
        for (const auto& field : fields) {
            glEnableVertexAttribArray(field.location);
            glVertexAttribPointer(
                field.location, field.count, GL_FLOAT, GL_FALSE, sizeof(SceneInstance), offset(field.at));
            glVertexAttribDivisor(field.location, 1);
        }
        return array;
    };
    m_boxArray = surfaceArray(m_boxMesh, m_boxInstances);
    m_planeArray = surfaceArray(m_planeMesh, m_planeInstances);

    glGenVertexArrays(1, &m_lineArray);
    glBindVertexArray(m_lineArray);
    glBindBuffer(GL_ARRAY_BUFFER, m_lineBuffer);
    glEnableVertexAttribArray(0);
    glVertexAttribPointer(
        0, 3, GL_FLOAT, GL_FALSE, sizeof(SceneLineVertex), offset(offsetof(SceneLineVertex, position)));
    glEnableVertexAttribArray(1);
    glVertexAttribPointer(
        1, 4, GL_FLOAT, GL_FALSE, sizeof(SceneLineVertex), offset(offsetof(SceneLineVertex, color)));
    glEnableVertexAttribArray(2);
    glVertexAttribPointer(
        2, 1, GL_FLOAT, GL_FALSE, sizeof(SceneLineVertex), offset(offsetof(SceneLineVertex, fog)));
    glBindVertexArray(0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);

    glGenTextures(1, &m_shadowTexture);
    glBindTexture(GL_TEXTURE_2D, m_shadowTexture);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_DEPTH_COMPONENT24, shadowMapSize, shadowMapSize, 0, GL_DEPTH_COMPONENT,
        GL_UNSIGNED_INT, nullptr);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_COMPARE_MODE, GL_COMPARE_REF_TO_TEXTURE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_COMPARE_FUNC, GL_LEQUAL);
    glBindTexture(GL_TEXTURE_2D, 0);

    GLint previous = 0;
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &previous);
    glGenFramebuffers(1, &m_shadowFramebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, m_shadowFramebuffer);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_TEXTURE_2D, m_shadowTexture, 0);
    glDrawBuffer(GL_NONE);
    glReadBuffer(GL_NONE);
    const GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
    glBindFramebuffer(GL_FRAMEBUFFER, GLuint(previous));
    m_initialized = true;
    if (status != GL_FRAMEBUFFER_COMPLETE) {
        m_error = QStringLiteral("The shadow map cannot be drawn into (framebuffer status 0x%1).")
                      .arg(status, 0, 16);
        release();
        return false;
    }
    m_uploaded = false;
    m_shadowDirty = true;
    return true;
}

void Renderer::release()
{
    if (!m_initialized)
        return;
    const GLuint buffers[] = { m_boxMesh, m_planeMesh, m_boxInstances, m_planeInstances, m_lineBuffer };
    glDeleteBuffers(GLsizei(std::size(buffers)), buffers);
    const GLuint arrays[] = { m_boxArray, m_planeArray, m_lineArray };
    glDeleteVertexArrays(GLsizei(std::size(arrays)), arrays);
    glDeleteFramebuffers(1, &m_shadowFramebuffer);
    glDeleteTextures(1, &m_shadowTexture);
    m_boxMesh = m_planeMesh = m_boxInstances = m_planeInstances = m_lineBuffer = 0;
    m_boxArray = m_planeArray = m_lineArray = m_shadowFramebuffer = m_shadowTexture = 0;
    m_surface.reset();
    m_shadow.reset();
    m_line.reset();
    m_initialized = false;
    m_uploaded = false;
}

void Renderer::upload(const SceneController& scene)
{
    const auto fill = [&](GLuint buffer, const auto& data) {
        glBindBuffer(GL_ARRAY_BUFFER, buffer);
        glBufferData(
            GL_ARRAY_BUFFER, GLsizeiptr(data.size() * sizeof(data[0])), data.data(), GL_DYNAMIC_DRAW);
        return GLsizei(data.size());
    };
    m_boxCount = fill(m_boxInstances, scene.boxInstances());
    m_planeCount = fill(m_planeInstances, scene.planeInstances());
    m_lineCount = fill(m_lineBuffer, scene.lineVertices());
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    m_generation = scene.generation();
    m_uploaded = true;
    m_shadowDirty = true;
}

QMatrix4x4 Renderer::lightMatrix(const SceneController& scene) const
{
    const SceneBox& bounds = scene.bounds();
    const QVector3D centre = bounds.centre();
    const float reach = std::max(bounds.extent().length() / 2, 4.0f);
    QMatrix4x4 projection, view;
    view.lookAt(centre + lightDirection() * reach * 2, centre, QVector3D(0, 1, 0));
    projection.ortho(-reach, reach, -reach, reach, reach * 0.5f, reach * 3.5f);
    return projection * view;
}

void Renderer::drawShadowMap(const SceneController& scene)
{
    m_lightMatrix = lightMatrix(scene);
    glBindFramebuffer(GL_FRAMEBUFFER, m_shadowFramebuffer);
    glViewport(0, 0, shadowMapSize, shadowMapSize);
    glClear(GL_DEPTH_BUFFER_BIT);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LESS);
    glEnable(GL_POLYGON_OFFSET_FILL);
    glPolygonOffset(1.5f, 3.0f);
    glDisable(GL_CULL_FACE);
    m_shadow->bind();
    m_shadow->setUniformValue("lightMatrix", m_lightMatrix);
    glBindVertexArray(m_boxArray);
    glDrawArraysInstanced(GL_TRIANGLES, 0, 36, m_boxCount);
    glBindVertexArray(0);
    m_shadow->release();
    glDisable(GL_POLYGON_OFFSET_FILL);
    m_shadowDirty = false;
}

void Renderer::render(const SceneController& scene, QSize pixels, float devicePixelRatio)
{
    if (!m_initialized || pixels.isEmpty())
        return;
    GLint target = 0;
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &target);
    if (!m_uploaded || scene.generation() != m_generation)
        upload(scene);
    const bool shadows = scene.shadowsEnabled() && m_boxCount > 0;
    if (shadows && m_shadowDirty) {
        drawShadowMap(scene);
        glBindFramebuffer(GL_FRAMEBUFFER, GLuint(target));
    }

    const Theme& theme = scene.theme();
    const OrbitCamera& camera = scene.camera();
    glViewport(0, 0, pixels.width(), pixels.height());
    const QColor paper = theme.paper.toRgb();
    glClearColor(paper.redF(), paper.greenF(), paper.blueF(), 1);
    glClearDepth(1);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    glDepthMask(GL_TRUE);
    glEnable(GL_CULL_FACE);
    glCullFace(GL_BACK);
    glDisable(GL_BLEND);

    const float aspect = float(pixels.width()) / float(pixels.height());
    const QMatrix4x4 view = camera.viewMatrix();
    const QMatrix4x4 viewProjection = camera.projectionMatrix(aspect) * view;
    // Fog starts a little behind the target and thickens toward the far edge of the layout.
    const float depth = camera.distance();
    const float radius = std::max(scene.bounds().extent().length() / 2, 4.0f);
    const QVector2D fogRange(depth + radius * 0.2f, depth + radius * 1.3f);
    const float fogMax = 0.55f;
    const float storey = std::max(scene.layout().peak / 18, 0.25f);
    QMatrix4x4 bias;
    bias.translate(0.5f, 0.5f, 0.5f);
    bias.scale(0.5f);

    m_surface->bind();
    m_surface->setUniformValue("viewProjection", viewProjection);
    m_surface->setUniformValue("view", view);
    m_surface->setUniformValue("lightMatrix", bias * m_lightMatrix);
    m_surface->setUniformValue("normalOffset", radius * 2 / shadowMapSize * 1.5f);
    m_surface->setUniformValue("lightDirection", lightDirection());
    m_surface->setUniformValue("sunTint", rgb(theme.sunTint));
    m_surface->setUniformValue("shadeTint", rgb(theme.shadeTint));
    m_surface->setUniformValue("shadowColor", rgb(theme.shadow));
    m_surface->setUniformValue("fogColor", rgb(theme.paper));
    m_surface->setUniformValue("fogRange", fogRange);
    m_surface->setUniformValue("fogMax", fogMax);
    m_surface->setUniformValue("storey", storey);
    // The theme's floor line is a whisper; walls need it a little stronger to read.
    const QColor line = theme.floorLine.toRgb();
    m_surface->setUniformValue("lineTint", QVector4D(rgb(line), std::min(float(line.alphaF()) * 2.5f, 1.0f)));
    const QColor kerb = theme.dark ? theme.paper : mix(theme.stoneDark, theme.ink3, 0.35);
    m_surface->setUniformValue("kerbTint", QVector4D(rgb(kerb), theme.dark ? 0.75f : 0.6f));
    m_surface->setUniformValue("pixelRatio", std::max(devicePixelRatio, 0.5f));
    m_surface->setUniformValue("shadows", shadows);
    m_surface->setUniformValue("shadowMap", 0);
    m_surface->setUniformValue("shadowTexel", 1.0f / shadowMapSize);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, m_shadowTexture);

    if (m_planeCount > 0) {
        m_surface->setUniformValue("ground", true);
        glBindVertexArray(m_planeArray);
        glDrawArraysInstanced(GL_TRIANGLES, 0, 6, m_planeCount);
    }
    if (m_boxCount > 0) {
        m_surface->setUniformValue("ground", false);
        glBindVertexArray(m_boxArray);
        glDrawArraysInstanced(GL_TRIANGLES, 0, 36, m_boxCount);
    }
    m_surface->release();

    if (m_lineCount > 0) {
        glEnable(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        m_line->bind();
        m_line->setUniformValue("viewProjection", viewProjection);
        m_line->setUniformValue("view", view);
        m_line->setUniformValue("fogColor", rgb(theme.paper));
        m_line->setUniformValue("fogRange", fogRange);
        m_line->setUniformValue("fogMax", fogMax);
        glBindVertexArray(m_lineArray);
        glDrawArrays(GL_LINES, 0, m_lineCount);
        m_line->release();
        glDisable(GL_BLEND);
    }
    glBindVertexArray(0);
    glBindTexture(GL_TEXTURE_2D, 0);
    glDisable(GL_CULL_FACE);
    glDisable(GL_DEPTH_TEST);
}
