#pragma once

// The renderer's GLSL, for OpenGL 3.3 core. Boxes and planes are unit meshes placed per instance by
// base and size; attribute locations are fixed so that every pass reads the same vertex arrays.
// Work is kept off the fragments wherever it can be, because a software renderer pays for every
// one of them: buildings are lit per face in the vertex shader (flat faces under a fixed sun need
// nothing finer, so faces take the colour of their triangles' last corner), and the ground reads
// its shadows from a shade texture baked once per layout.
namespace Shaders {

inline constexpr char boxVertex[] = R"(#version 330 core
layout(location = 0) in vec3 corner;
layout(location = 1) in vec3 normal;
layout(location = 2) in vec3 base;
layout(location = 3) in vec3 size;
layout(location = 4) in vec4 color;
layout(location = 5) in vec2 flags; // storey lines, casts a shadow
layout(location = 6) in vec2 hidden; // how high from their foot other buildings hide its walls, across x and z

uniform mat4 viewProjection;
uniform vec4 depthRow; // view depth as a dot product with the world position
uniform vec3 lightDirection; // toward the sun
uniform vec3 sunTint;
uniform vec3 shadeTint;
uniform vec2 fogRange; // view depth where fog starts, and where it is full
uniform float storey;

flat out vec3 vColor;
out float vFog;
out float vStorey;
flat out float vLined;
flat out float vFaceFog; // the fog of the face's last corner, for the plain faces of a moving frame

void main()
{
    vec3 whole = base + corner * size;
    // The hidden foot of a wall is not drawn: its lower corners rise to where it starts to show.
    vec3 world = whole;
    if (normal.y == 0.0 && corner.y == 0.0)
        world.y += min(abs(normal.x) > 0.5 ? hidden.x : hidden.y, size.y);
    gl_Position = viewProjection * vec4(world, 1.0);
    float sun = max(dot(normal, lightDirection), 0.0);
    float sky = 0.5 + 0.5 * normal.y;
    vec3 lit = color.rgb * (0.56 + 0.16 * sky + 0.36 * sun);
    lit = mix(lit, shadeTint, (1.0 - sun) * 0.16);
    vColor = lit + sunTint * sun * 0.05;
    float depth = dot(depthRow, vec4(world, 1.0));
    vFog = (depth - fogRange.x) / (fogRange.y - fogRange.x); // clamped per fragment, for long faces
    float wholeDepth = dot(depthRow, vec4(whole, 1.0)); // so that a face's fog stays as its wall is cut
    vFaceFog = clamp((wholeDepth - fogRange.x) / (fogRange.y - fogRange.x), 0.0, 1.0);
    vStorey = world.y / storey;
    vLined = flags.x * (1.0 - abs(normal.y)); // walls only, never a roof that sits on a storey
}
)";

inline constexpr char boxFragment[] = R"(#version 330 core
flat in vec3 vColor;
in float vFog;
in float vStorey;
flat in float vLined;

uniform vec4 lineTint; // colour and strength of the storey lines
uniform float pixelRatio;
uniform vec3 fogColor;
uniform float fogMax;

out vec4 fragColor;

void main()
{
    // Lines at every storey, about a pixel wide, fading out where storeys crowd on screen.
    float w = fwidth(vStorey);
    float f = fract(vStorey);
    float d = min(f, 1.0 - f) / max(w, 0.0001);
    float line = (1.0 - clamp(d - 0.2, 0.0, 1.0)) * clamp((0.3 - w * pixelRatio) * 5.0, 0.0, 1.0);
    vec3 color = mix(vColor, lineTint.rgb, line * lineTint.a * vLined);
    fragColor = vec4(mix(color, fogColor, clamp(vFog, 0.0, 1.0) * fogMax), 1.0);
}
)";

// While the camera moves on a software renderer: each face one colour, without storey lines, and
// fogged as a whole; what costs most per pixel waits for the frame the camera settles on.
inline constexpr char boxPlainFragment[] = R"(#version 330 core
flat in vec3 vColor;
flat in float vFaceFog;

uniform vec3 fogColor;
uniform float fogMax;

out vec4 fragColor;

void main()
{
    fragColor = vec4(mix(vColor, fogColor, vFaceFog * fogMax), 1.0);
}
)";

inline constexpr char planeVertex[] = R"(#version 330 core
layout(location = 0) in vec3 corner;
layout(location = 2) in vec3 base;
layout(location = 3) in vec3 size;
layout(location = 4) in vec4 color;

uniform mat4 viewProjection;
uniform vec4 depthRow;
uniform vec2 fogRange;
uniform vec4 shadeRect; // the ground the shade texture covers: x, z, width, depth

out vec3 vColor;
out vec2 vLocal; // the offset from the lot's centre, in scene units
flat out vec2 vHalf; // the lot's half extents
out vec2 vShade;
out float vFog;

void main()
{
    vec3 world = base + corner * size;
    gl_Position = viewProjection * vec4(world, 1.0);
    vColor = color.rgb;
    vLocal = corner.xz * size.xz;
    vHalf = size.xz * 0.5;
    vShade = (world.xz - shadeRect.xy) / shadeRect.zw;
    float depth = dot(depthRow, vec4(world, 1.0));
    vFog = (depth - fogRange.x) / (fogRange.y - fogRange.x); // clamped per fragment, for long faces
}
)";

inline constexpr char planeFragment[] = R"(#version 330 core
in vec3 vColor;
in vec2 vLocal;
flat in vec2 vHalf;
in vec2 vShade;
in float vFog;

uniform vec4 kerbTint;
uniform float topLight;
uniform vec3 shadowColor;
uniform bool shadows;
uniform sampler2D groundShade;
uniform vec3 fogColor;
uniform float fogMax;

out vec4 fragColor;

void main()
{
    // A kerb along the lot's edge, a little over a pixel wide when far and a few centimetres when
    // near, so that lots that touch still read as two.
    float edge = min(vHalf.x - abs(vLocal.x), vHalf.y - abs(vLocal.y));
    float pixel = max(fwidth(vLocal.x), fwidth(vLocal.y));
    float width = max(0.05, pixel * 1.2);
    float kerb = 1.0 - clamp((edge - width) / max(pixel, 0.0001), 0.0, 1.0);
    vec3 color = mix(vColor, kerbTint.rgb, kerb * kerbTint.a) * topLight;
    if (shadows)
        color = mix(color, shadowColor, (1.0 - texture(groundShade, vShade).r) * 0.5);
    fragColor = vec4(mix(color, fogColor, clamp(vFog, 0.0, 1.0) * fogMax), 1.0);
}
)";

inline constexpr char shadowVertex[] = R"(#version 330 core
layout(location = 0) in vec3 corner;
layout(location = 2) in vec3 base;
layout(location = 3) in vec3 size;
layout(location = 5) in vec2 flags;

uniform mat4 lightMatrix;

void main()
{
    // Parts that cast no shadow collapse to a point outside the map.
    gl_Position = flags.y > 0.5 ? lightMatrix * vec4(base + corner * size, 1.0) : vec4(2.0, 2.0, 2.0, 1.0);
}
)";

inline constexpr char shadowFragment[] = R"(#version 330 core
void main() { }
)";

// Draws the shade texture: one triangle over the whole target, each texel a spot on the ground
// looked up in the shadow map, four bilinear compares for a soft edge.
inline constexpr char bakeVertex[] = R"(#version 330 core
out vec2 vAt;

void main()
{
    vec2 corner = vec2(float((gl_VertexID & 1) << 2), float((gl_VertexID & 2) << 1)) - 1.0;
    vAt = corner * 0.5 + 0.5;
    gl_Position = vec4(corner, 0.0, 1.0);
}
)";

inline constexpr char bakeFragment[] = R"(#version 330 core
in vec2 vAt;

uniform mat4 lightMatrix; // into the shadow map's texture space
uniform vec4 shadeRect;
uniform float groundHeight;
uniform float texel;
uniform sampler2DShadow shadowMap;

out vec4 fragColor;

void main()
{
    vec3 world = vec3(shadeRect.xy + vAt * shadeRect.zw, groundHeight).xzy;
    vec4 at = lightMatrix * vec4(world, 1.0);
    vec3 p = at.xyz / at.w;
    float d = texel * 0.75;
    float lit = texture(shadowMap, vec3(p.xy + vec2(-d, -d), p.z)) + texture(shadowMap, vec3(p.xy + vec2(d, -d), p.z))
        + texture(shadowMap, vec3(p.xy + vec2(-d, d), p.z)) + texture(shadowMap, vec3(p.xy + vec2(d, d), p.z));
    fragColor = vec4(lit * 0.25);
}
)";

inline constexpr char lineVertex[] = R"(#version 330 core
layout(location = 0) in vec3 position;
layout(location = 1) in vec4 color;
layout(location = 2) in float fogged;

uniform mat4 viewProjection;
uniform vec4 depthRow;
uniform vec2 fogRange;
uniform float fogMax;

out vec4 vColor;
out float vFog;

void main()
{
    vColor = color;
    float depth = dot(depthRow, vec4(position, 1.0));
    vFog = clamp((depth - fogRange.x) / (fogRange.y - fogRange.x), 0.0, 1.0) * fogMax * fogged;
    gl_Position = viewProjection * vec4(position, 1.0);
}
)";

inline constexpr char lineFragment[] = R"(#version 330 core
in vec4 vColor;
in float vFog;

uniform vec3 fogColor;

out vec4 fragColor;

void main() { fragColor = vec4(mix(vColor.rgb, fogColor, vFog), vColor.a); }
)";

} // namespace Shaders
