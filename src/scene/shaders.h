#pragma once

// The renderer's GLSL, for OpenGL 3.3 core. Boxes and planes share one program: a unit mesh placed
// per instance by base and size. Attribute locations are fixed so that the shadow pass can read
// the same vertex arrays.
namespace Shaders {

inline constexpr char surfaceVertex[] = R"(#version 330 core
layout(location = 0) in vec3 corner;
layout(location = 1) in vec3 normal;
layout(location = 2) in vec3 base;
layout(location = 3) in vec3 size;
layout(location = 4) in vec4 color;
layout(location = 5) in vec2 flags; // storey lines, casts a shadow

uniform mat4 viewProjection;
uniform mat4 view;
uniform mat4 lightMatrix;
uniform float normalOffset;

out vec3 vWorld;
out vec3 vNormal;
out vec4 vColor;
out float vStoreys;
out float vDepth;
out vec4 vLight;
out vec2 vLocal; // on planes: the offset from the centre, and the half extents, in scene units
out vec2 vHalf;

void main()
{
    vec3 world = base + corner * size;
    vLocal = corner.xz * size.xz;
    vHalf = size.xz * 0.5;
    vWorld = world;
    vNormal = normal;
    vColor = color;
    vStoreys = flags.x;
    vDepth = -(view * vec4(world, 1.0)).z;
    // Sampling the shadow map a little off the surface keeps walls from shadowing themselves.
    vLight = lightMatrix * vec4(world + normal * normalOffset, 1.0);
    gl_Position = viewProjection * vec4(world, 1.0);
}
)";

inline constexpr char surfaceFragment[] = R"(#version 330 core
in vec3 vWorld;
in vec3 vNormal;
in vec4 vColor;
in float vStoreys;
in float vDepth;
in vec4 vLight;
in vec2 vLocal;
in vec2 vHalf;

uniform vec3 lightDirection; // toward the sun
uniform vec3 sunTint;
uniform vec3 shadeTint;
uniform vec3 shadowColor;
uniform vec3 fogColor;
uniform vec2 fogRange; // view depth where fog starts, and where it is full
uniform float fogMax;
uniform float storey;
uniform vec4 lineTint;
uniform float pixelRatio;
uniform bool ground; // flat lots: kerbs at their edges, shadows darken toward the shadow colour
uniform vec4 kerbTint;
uniform bool shadows;
uniform sampler2DShadow shadowMap;
uniform float shadowTexel;

out vec4 fragColor;

float sunlight()
{
    if (!shadows)
        return 1.0;
    vec3 p = vLight.xyz / vLight.w;
    if (p.x <= 0.0 || p.x >= 1.0 || p.y <= 0.0 || p.y >= 1.0 || p.z >= 1.0)
        return 1.0;
    // Four bilinear compares around the point: a soft edge about two texels wide.
    float d = shadowTexel * 0.75;
    float sum = texture(shadowMap, vec3(p.xy + vec2(-d, -d), p.z))
        + texture(shadowMap, vec3(p.xy + vec2(d, -d), p.z))
        + texture(shadowMap, vec3(p.xy + vec2(-d, d), p.z))
        + texture(shadowMap, vec3(p.xy + vec2(d, d), p.z));
    return sum * 0.25;
}

void main()
{
    vec3 n = normalize(vNormal);
    vec3 albedo = vColor.rgb;
    if (vStoreys > 0.5) {
        // Lines at every storey, about a pixel wide, fading out where storeys crowd on screen.
        float s = vWorld.y / storey;
        float w = fwidth(s) * pixelRatio;
        float f = fract(s);
        float d = min(f, 1.0 - f) / max(fwidth(s), 0.0001);
        float line = (1.0 - clamp(d - 0.2, 0.0, 1.0)) * clamp((0.3 - w) * 5.0, 0.0, 1.0);
        line *= 1.0 - abs(n.y); // walls only, never a roof that happens to sit on a storey
        albedo = mix(albedo, lineTint.rgb, line * lineTint.a);
    }
    float lit = sunlight();
    float sun = max(dot(n, lightDirection), 0.0);
    vec3 color;
    if (ground) {
        // A kerb along the lot's edge, a little over a pixel wide when far and a few centimetres
        // when near, so that lots that touch still read as two.
        float edge = min(vHalf.x - abs(vLocal.x), vHalf.y - abs(vLocal.y));
        float pixel = max(fwidth(vLocal.x), fwidth(vLocal.y));
        float width = max(0.05, pixel * 1.2);
        float kerb = 1.0 - clamp((edge - width) / max(pixel, 0.0001), 0.0, 1.0);
        albedo = mix(albedo, kerbTint.rgb, kerb * kerbTint.a);
        color = albedo * (0.86 + 0.14 * sun);
        color = mix(color, shadowColor, (1.0 - lit) * 0.5);
    } else {
        float direct = sun * lit;
        float sky = 0.5 + 0.5 * n.y;
        color = albedo * (0.56 + 0.16 * sky + 0.36 * direct);
        color = mix(color, shadeTint, (1.0 - direct) * 0.16);
        color += sunTint * direct * 0.05;
    }
    float fog = clamp((vDepth - fogRange.x) / (fogRange.y - fogRange.x), 0.0, 1.0) * fogMax;
    fragColor = vec4(mix(color, fogColor, fog), vColor.a);
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

inline constexpr char lineVertex[] = R"(#version 330 core
layout(location = 0) in vec3 position;
layout(location = 1) in vec4 color;
layout(location = 2) in float fogged;

uniform mat4 viewProjection;
uniform mat4 view;

out vec4 vColor;
out float vDepth;
out float vFogged;

void main()
{
    vColor = color;
    vFogged = fogged;
    vDepth = -(view * vec4(position, 1.0)).z;
    gl_Position = viewProjection * vec4(position, 1.0);
}
)";

inline constexpr char lineFragment[] = R"(#version 330 core
in vec4 vColor;
in float vDepth;
in float vFogged;

uniform vec3 fogColor;
uniform vec2 fogRange;
uniform float fogMax;

out vec4 fragColor;

void main()
{
    float fog = clamp((vDepth - fogRange.x) / (fogRange.y - fogRange.x), 0.0, 1.0) * fogMax * vFogged;
    fragColor = vec4(mix(vColor.rgb, fogColor, fog), vColor.a);
}
)";

} // namespace Shaders
