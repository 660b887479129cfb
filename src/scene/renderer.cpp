#include "scene/renderer.h"

#include "scene/boxmesh_p.h"
#include "scene/colorcontext.h"
#include "scene/hiddenwalls.h"
#include "scene/scenecontroller.h"
#include "scene/shaders_p.h"

#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QOpenGLShaderProgram>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

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
    // A window only composes its widgets' images, which needs no samples; a multisampled window
    // made each repaint of a progress bar cost a software renderer a tenth of a second.
    QSurfaceFormat window = defaultFormat();
    window.setSamples(0);
    QSurfaceFormat::setDefaultFormat(window);
}

namespace {

bool isSoftwareDriver(const char* renderer)
{
    const QByteArray name = QByteArray(renderer).toLower();
    return name.contains("llvmpipe") || name.contains("softpipe") || name.contains("swiftshader")
        || name.contains("software");
}

} // namespace

bool Renderer::softwareRendering()
{
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return false;
    static const bool software = [] {
        QOpenGLContext context;
        QOffscreenSurface surface;
        surface.setFormat(defaultFormat());
        surface.create();
        if (!context.create() || !context.makeCurrent(&surface))
            return false;
        const bool software
            = isSoftwareDriver(reinterpret_cast<const char*>(context.functions()->glGetString(GL_RENDERER)));
        context.doneCurrent();
        return software;
    }();
    return software;
}

int Renderer::interactiveSamples()
{
    return softwareRendering() ? 0 : defaultFormat().samples();
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
    if (!checkContext() || !buildPrograms())
        return false;
    createGeometry();
    const GLenum status = createShadowTargets();
    const auto text = [this](GLenum name) {
        return QString::fromLatin1(reinterpret_cast<const char*>(glGetString(name)));
    };
    m_software = isSoftwareDriver(reinterpret_cast<const char*>(glGetString(GL_RENDERER)));
    m_driver = text(GL_RENDERER) + QStringLiteral(", OpenGL ") + text(GL_VERSION);
    m_initialized = true;
    if (status != GL_FRAMEBUFFER_COMPLETE) {
        m_error = QStringLiteral("The shadows cannot be drawn (framebuffer status 0x%1).").arg(status, 0, 16);
        release();
        return false;
    }
    m_uploaded = false;
    m_shadowShape.reset();
    return true;
}

bool Renderer::checkContext()
{
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
    return true;
}

bool Renderer::buildPrograms()
{
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
    m_box = program(Shaders::boxVertex, Shaders::boxFragment, "building");
    m_plainBox = m_box ? program(Shaders::boxVertex, Shaders::boxPlainFragment, "building") : nullptr;
    m_plane = m_plainBox ? program(Shaders::planeVertex, Shaders::planeFragment, "ground") : nullptr;
    m_line = m_plane ? program(Shaders::lineVertex, Shaders::lineFragment, "line") : nullptr;
    m_shadow = m_line ? program(Shaders::shadowVertex, Shaders::shadowFragment, "shadow") : nullptr;
    m_bake = m_shadow ? program(Shaders::bakeVertex, Shaders::bakeFragment, "shade") : nullptr;
    if (!m_bake) {
        m_box.reset();
        m_plainBox.reset();
        m_plane.reset();
        m_line.reset();
        m_shadow.reset();
        return false;
    }
    return true;
}

// The meshes, the instance and line buffers, and the vertex arrays that read them.
void Renderer::createGeometry()
{
    const auto meshBuffer = [&](const std::vector<MeshVertex>& mesh) {
        GLuint buffer = 0;
        glGenBuffers(1, &buffer);
        glBindBuffer(GL_ARRAY_BUFFER, buffer);
        glBufferData(
            GL_ARRAY_BUFFER, GLsizeiptr(mesh.size() * sizeof(MeshVertex)), mesh.data(), GL_STATIC_DRAW);
        return buffer;
    };
    const BoxMesh box = boxMesh();
    m_boxMesh = meshBuffer(box.vertices);
    m_planeMesh = meshBuffer(planeMesh());
    glGenBuffers(1, &m_boxIndices);
    glGenBuffers(1, &m_boxInstances);
    glGenBuffers(1, &m_hiddenWalls);
    glGenBuffers(1, &m_planeInstances);
    glGenBuffers(1, &m_lineBuffer);

    m_boxArray = surfaceArray(m_boxMesh, m_boxInstances);
    // The element buffer belongs to the vertex array bound while it is bound.
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, m_boxIndices);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER, GLsizeiptr(box.indices.size() * sizeof(GLushort)),
        box.indices.data(), GL_STATIC_DRAW);
    glBindBuffer(GL_ARRAY_BUFFER, m_hiddenWalls);
    floatAttribute(6, 2, sizeof(HiddenWalls::Hidden), 0, 1);
    m_planeArray = surfaceArray(m_planeMesh, m_planeInstances);

    glGenVertexArrays(1, &m_lineArray);
    glBindVertexArray(m_lineArray);
    glBindBuffer(GL_ARRAY_BUFFER, m_lineBuffer);
    floatAttribute(0, 3, sizeof(SceneLineVertex), offsetof(SceneLineVertex, position));
    floatAttribute(1, 4, sizeof(SceneLineVertex), offsetof(SceneLineVertex, color));
    floatAttribute(2, 1, sizeof(SceneLineVertex), offsetof(SceneLineVertex, fog));
    glBindVertexArray(0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);

    // Drawing the shade texture takes no vertex data, but core profile wants a vertex array bound.
    glGenVertexArrays(1, &m_emptyArray);
}

// Mesh attributes per vertex, the instance record per instance.
GLuint Renderer::surfaceArray(GLuint mesh, GLuint instances)
{
    GLuint array = 0;
    glGenVertexArrays(1, &array);
    glBindVertexArray(array);
    glBindBuffer(GL_ARRAY_BUFFER, mesh);
    floatAttribute(0, 3, sizeof(MeshVertex), offsetof(MeshVertex, position));
    floatAttribute(1, 3, sizeof(MeshVertex), offsetof(MeshVertex, normal));
    glBindBuffer(GL_ARRAY_BUFFER, instances);
    floatAttribute(2, 3, sizeof(SceneInstance), offsetof(SceneInstance, base), 1);
    floatAttribute(3, 3, sizeof(SceneInstance), offsetof(SceneInstance, size), 1);
    floatAttribute(4, 4, sizeof(SceneInstance), offsetof(SceneInstance, color), 1);
    floatAttribute(5, 2, sizeof(SceneInstance), offsetof(SceneInstance, storeys), 1);
    return array;
}

// Floats at `at` in each record of the bound array buffer; a divisor of 1 steps once an instance.
void Renderer::floatAttribute(GLuint location, GLint count, GLsizei stride, size_t at, GLuint divisor)
{
    glEnableVertexAttribArray(location);
    glVertexAttribPointer(location, count, GL_FLOAT, GL_FALSE, stride, offset(at));
    if (divisor)
        glVertexAttribDivisor(location, divisor);
}

// The sun's depth map and the shade texture baked from it, each with its framebuffer; the status of
// the first framebuffer that is not complete, if any.
GLenum Renderer::createShadowTargets()
{
    const auto texture = [&](GLint format, int size, GLenum layout, GLenum type) {
        GLuint name = 0;
        glGenTextures(1, &name);
        glBindTexture(GL_TEXTURE_2D, name);
        glTexImage2D(GL_TEXTURE_2D, 0, format, size, size, 0, layout, type, nullptr);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
        return name;
    };
    m_shadowTexture = texture(GL_DEPTH_COMPONENT24, shadowMapSize, GL_DEPTH_COMPONENT, GL_UNSIGNED_INT);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_COMPARE_MODE, GL_COMPARE_REF_TO_TEXTURE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_COMPARE_FUNC, GL_LEQUAL);
    m_shadeTexture = texture(GL_R8, groundShadeSize, GL_RED, GL_UNSIGNED_BYTE);
    glBindTexture(GL_TEXTURE_2D, 0);

    GLint previous = 0;
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &previous);
    glGenFramebuffers(1, &m_shadowFramebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, m_shadowFramebuffer);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_TEXTURE_2D, m_shadowTexture, 0);
    glDrawBuffer(GL_NONE);
    glReadBuffer(GL_NONE);
    GLenum status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
    glGenFramebuffers(1, &m_shadeFramebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, m_shadeFramebuffer);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, m_shadeTexture, 0);
    if (status == GL_FRAMEBUFFER_COMPLETE)
        status = glCheckFramebufferStatus(GL_FRAMEBUFFER);
    glBindFramebuffer(GL_FRAMEBUFFER, GLuint(previous));
    return status;
}

void Renderer::release()
{
    if (!m_initialized)
        return;
    const GLuint buffers[] = { m_boxMesh, m_boxIndices, m_planeMesh, m_boxInstances, m_hiddenWalls,
        m_planeInstances, m_lineBuffer };
    glDeleteBuffers(GLsizei(std::size(buffers)), buffers);
    const GLuint arrays[] = { m_boxArray, m_planeArray, m_lineArray, m_emptyArray };
    glDeleteVertexArrays(GLsizei(std::size(arrays)), arrays);
    const GLuint framebuffers[] = { m_shadowFramebuffer, m_shadeFramebuffer };
    glDeleteFramebuffers(GLsizei(std::size(framebuffers)), framebuffers);
    const GLuint textures[] = { m_shadowTexture, m_shadeTexture };
    glDeleteTextures(GLsizei(std::size(textures)), textures);
    m_boxMesh = m_boxIndices = m_planeMesh = m_boxInstances = m_hiddenWalls = m_planeInstances = m_lineBuffer
        = 0;
    m_boxArray = m_planeArray = m_lineArray = m_emptyArray = 0;
    m_shadowFramebuffer = m_shadeFramebuffer = m_shadowTexture = m_shadeTexture = 0;
    m_box.reset();
    m_plainBox.reset();
    m_plane.reset();
    m_line.reset();
    m_shadow.reset();
    m_bake.reset();
    m_initialized = false;
    m_uploaded = false;
    m_shadowShape.reset();
}

void Renderer::upload(const SceneController& scene, int quarter)
{
    uploadBoxes(scene, quarter);
    // Lots in reverse: nested lots lie a little above their parents and the ground beneath all, so
    // drawn top first, the depth test spares shading each layer under them.
    const std::vector<SceneInstance> planes(scene.planeInstances().rbegin(), scene.planeInstances().rend());
    glBindBuffer(GL_ARRAY_BUFFER, m_planeInstances);
    glBufferData(
        GL_ARRAY_BUFFER, GLsizeiptr(planes.size() * sizeof(SceneInstance)), planes.data(), GL_DYNAMIC_DRAW);
    m_planeCount = GLsizei(planes.size());
    const std::vector<SceneLineVertex>& lines = scene.lineVertices();
    glBindBuffer(GL_ARRAY_BUFFER, m_lineBuffer);
    glBufferData(
        GL_ARRAY_BUFFER, GLsizeiptr(lines.size() * sizeof(SceneLineVertex)), lines.data(), GL_DYNAMIC_DRAW);
    m_lineCount = GLsizei(lines.size());
    m_detailLines = GLsizei(std::min(scene.detailLineStart(), lines.size()));
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    m_generation = scene.generation();
    m_uploaded = true;
}

// Nearest first from the given quarter of view, so that the depth test throws away most of what
// stands behind, before it is shaded.
void Renderer::uploadBoxes(const SceneController& scene, int quarter)
{
    std::vector<SceneInstance> boxes = scene.boxInstances();
    const float sx = quarter < 2 ? 1 : -1, sz = quarter % 2 == 0 ? 1 : -1;
    std::sort(boxes.begin(), boxes.end(), [&](const SceneInstance& a, const SceneInstance& b) {
        return sx * a.base[0] + sz * a.base[2] > sx * b.base[0] + sz * b.base[2];
    });
    glBindBuffer(GL_ARRAY_BUFFER, m_boxInstances);
    glBufferData(
        GL_ARRAY_BUFFER, GLsizeiptr(boxes.size() * sizeof(SceneInstance)), boxes.data(), GL_DYNAMIC_DRAW);
    m_boxCount = GLsizei(boxes.size());
    m_boxQuarter = quarter;
    m_boxes = std::move(boxes);
    uploadHiddenWalls(std::vector<HiddenWalls::Hidden>(m_boxes.size()));
    m_hiddenFor.reset();
}

void Renderer::uploadHiddenWalls(const std::vector<HiddenWalls::Hidden>& heights)
{
    glBindBuffer(GL_ARRAY_BUFFER, m_hiddenWalls);
    glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(heights.size() * sizeof(HiddenWalls::Hidden)), heights.data(),
        GL_DYNAMIC_DRAW);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
}

// The walls' hidden feet for this view, unless they are known already; all zero when walls are
// drawn whole.
void Renderer::hideWalls(const QMatrix4x4& viewProjection, QSize pixels)
{
    const bool cut = m_cutWalls && m_software;
    const std::pair view { cut ? viewProjection : QMatrix4x4(), cut ? pixels : QSize() };
    if (m_hiddenFor == view)
        return;
    uploadHiddenWalls(cut ? HiddenWalls::heights(m_boxes, viewProjection, pixels)
                          : std::vector<HiddenWalls::Hidden>(m_boxes.size()));
    m_hiddenFor = view;
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

void Renderer::drawShadows(const SceneController& scene)
{
    m_shadowShape = scene.shapeGeneration();
    const std::optional<SceneBox> ground = scene.ground();
    if (!ground || m_boxCount == 0)
        return;
    const QMatrix4x4 light = lightMatrix(scene);

    // The buildings' depth as the sun sees them.
    glBindFramebuffer(GL_FRAMEBUFFER, m_shadowFramebuffer);
    glViewport(0, 0, shadowMapSize, shadowMapSize);
    glClear(GL_DEPTH_BUFFER_BIT);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LESS);
    glDepthMask(GL_TRUE);
    glEnable(GL_POLYGON_OFFSET_FILL);
    glPolygonOffset(1.5f, 3.0f);
    glDisable(GL_CULL_FACE);
    m_shadow->bind();
    m_shadow->setUniformValue("lightMatrix", light);
    glBindVertexArray(m_boxArray);
    glDrawElementsInstanced(GL_TRIANGLES, allFaces, GL_UNSIGNED_SHORT, nullptr, m_boxCount);
    m_shadow->release();
    glDisable(GL_POLYGON_OFFSET_FILL);

    // Then, once, how much sun each spot of the ground gets.
    m_shadeRect = QVector4D(ground->min.x(), ground->min.z(), ground->extent().x(), ground->extent().z());
    QMatrix4x4 bias;
    bias.translate(0.5f, 0.5f, 0.5f);
    bias.scale(0.5f);
    glBindFramebuffer(GL_FRAMEBUFFER, m_shadeFramebuffer);
    glViewport(0, 0, groundShadeSize, groundShadeSize);
    glDisable(GL_DEPTH_TEST);
    m_bake->bind();
    m_bake->setUniformValue("lightMatrix", bias * light);
    m_bake->setUniformValue("shadeRect", m_shadeRect);
    m_bake->setUniformValue("groundHeight", ground->min.y());
    m_bake->setUniformValue("texel", 1.0f / shadowMapSize);
    m_bake->setUniformValue("shadowMap", 0);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, m_shadowTexture);
    glBindVertexArray(m_emptyArray);
    glDrawArrays(GL_TRIANGLES, 0, 3);
    m_bake->release();
    glBindTexture(GL_TEXTURE_2D, 0);
    glBindVertexArray(0);
}

// What every program of a frame shares: the camera and the fog.
struct Renderer::FrameView {
    QMatrix4x4 viewProjection;
    QVector4D depthRow;
    QVector2D fogRange;
    QVector3D fogColor;
};

void Renderer::render(const SceneController& scene, QSize pixels, float devicePixelRatio)
{
    if (!m_initialized || pixels.isEmpty())
        return;
    GLint target = 0;
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &target);
    const OrbitCamera& camera = scene.camera();
    const QVector3D towardEye = camera.eye() - camera.current.target;
    const int quarter = (towardEye.x() >= 0 ? 0 : 2) + (towardEye.z() >= 0 ? 0 : 1);
    const bool shadows = prepare(scene, quarter, GLuint(target));

    const bool plain = m_adaptive && m_software && !camera.settled();
    clear(scene.theme(), pixels);

    const FrameView frame = frameView(scene, float(pixels.width()) / float(pixels.height()));
    // Buildings first: the lots they hide are then never shaded.
    if (m_boxCount > 0) {
        hideWalls(frame.viewProjection, pixels);
        drawBoxes(scene, frame, camera.perspective ? -1 : quarter, plain ? nullptr : &devicePixelRatio);
    }
    if (m_planeCount > 0)
        drawPlanes(scene.theme(), frame, shadows);
    if (const GLsizei lines = plain ? m_detailLines : m_lineCount; lines > 0)
        drawLines(frame, lines);
    glBindVertexArray(0);
    glDisable(GL_CULL_FACE);
    glDisable(GL_DEPTH_TEST);
}

// Uploads what changed and redraws the shadows when the shapes did; whether shadows are shown.
bool Renderer::prepare(const SceneController& scene, int quarter, GLuint target)
{
    if (!m_uploaded || scene.generation() != m_generation)
        upload(scene, quarter);
    else if (quarter != m_boxQuarter)
        uploadBoxes(scene, quarter);
    const bool shadows = scene.shadowsEnabled() && scene.ground() && m_boxCount > 0;
    if (shadows && m_shadowShape != scene.shapeGeneration()) {
        drawShadows(scene);
        glBindFramebuffer(GL_FRAMEBUFFER, target);
    }
    return shadows;
}

void Renderer::clear(const Theme& theme, QSize drawn)
{
    glViewport(0, 0, drawn.width(), drawn.height());
    const QColor paper = theme.paper.toRgb();
    glClearColor(paper.redF(), paper.greenF(), paper.blueF(), 1);
    glClearDepth(1);
    glDepthMask(GL_TRUE);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    glEnable(GL_CULL_FACE);
    glCullFace(GL_BACK);
    glDisable(GL_BLEND);
}

Renderer::FrameView Renderer::frameView(const SceneController& scene, float aspect) const
{
    const OrbitCamera& camera = scene.camera();
    const QMatrix4x4 view = camera.viewMatrix();
    // Fog starts a little behind the target and thickens toward the far edge of the layout.
    const float depth = camera.distance();
    const float radius = std::max(scene.bounds().extent().length() / 2, 4.0f);
    return { camera.projectionMatrix(aspect) * view, -view.row(2),
        QVector2D(depth + radius * 0.2f, depth + radius * 1.3f), rgb(scene.theme().paper) };
}

void Renderer::bindFrame(QOpenGLShaderProgram& program, const FrameView& frame)
{
    program.bind();
    program.setUniformValue("viewProjection", frame.viewProjection);
    program.setUniformValue("depthRow", frame.depthRow);
    program.setUniformValue("fogRange", frame.fogRange);
    program.setUniformValue("fogMax", 0.55f);
    program.setUniformValue("fogColor", frame.fogColor);
}

// `quarter` is the quarter an orthographic camera looks from, whose three visible faces are all
// that is drawn; -1 draws every face.
void Renderer::drawBoxes(
    const SceneController& scene, const FrameView& frame, int quarter, const float* storeyLinesPixelRatio)
{
    const Theme& theme = scene.theme();
    QOpenGLShaderProgram& box = storeyLinesPixelRatio ? *m_box : *m_plainBox;
    bindFrame(box, frame);
    box.setUniformValue("lightDirection", lightDirection());
    box.setUniformValue("sunTint", rgb(theme.sunTint));
    box.setUniformValue("shadeTint", rgb(theme.shadeTint));
    if (storeyLinesPixelRatio) {
        // One storey a eighteenth of the tallest building, so that any city shows about as many.
        box.setUniformValue("storey", std::max(scene.layout().peak / 18, 0.25f));
        // The theme's floor line is a whisper; walls need it a little stronger to read.
        const QColor line = theme.floorLine.toRgb();
        box.setUniformValue("lineTint", QVector4D(rgb(line), std::min(float(line.alphaF()) * 2.5f, 1.0f)));
        box.setUniformValue("pixelRatio", std::max(*storeyLinesPixelRatio, 0.25f));
    }
    GLsizei count = allFaces;
    const void* first = nullptr;
    if (quarter >= 0) {
        count = visibleFaces;
        first = offset(size_t(allFaces + quarter * visibleFaces) * sizeof(GLushort));
    }
    glBindVertexArray(m_boxArray);
    glDrawElementsInstanced(GL_TRIANGLES, count, GL_UNSIGNED_SHORT, first, m_boxCount);
    box.release();
}

void Renderer::drawPlanes(const Theme& theme, const FrameView& frame, bool shadows)
{
    bindFrame(*m_plane, frame);
    m_plane->setUniformValue("shadeRect", m_shadeRect);
    m_plane->setUniformValue("topLight", 0.86f + 0.14f * lightDirection().y());
    m_plane->setUniformValue("shadowColor", rgb(theme.shadow));
    const QColor kerb = theme.dark ? theme.paper : mix(theme.stoneDark, theme.ink3, 0.35);
    m_plane->setUniformValue("kerbTint", QVector4D(rgb(kerb), theme.dark ? 0.75f : 0.6f));
    m_plane->setUniformValue("shadows", shadows);
    m_plane->setUniformValue("groundShade", 0);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, m_shadeTexture);
    glBindVertexArray(m_planeArray);
    glDrawArraysInstanced(GL_TRIANGLES, 0, 6, m_planeCount);
    glBindTexture(GL_TEXTURE_2D, 0);
    m_plane->release();
}

void Renderer::drawLines(const FrameView& frame, GLsizei vertices)
{
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    bindFrame(*m_line, frame);
    glBindVertexArray(m_lineArray);
    glDrawArrays(GL_LINES, 0, vertices);
    m_line->release();
    glDisable(GL_BLEND);
}
