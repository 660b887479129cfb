#include "scene/entitynode.h"

#include <algorithm>

QMatrix4x4 ScenePart::transform() const
{
    QMatrix4x4 matrix;
    matrix.translate(base);
    matrix.scale(size);
    return matrix;
}

SceneBox ScenePart::box() const
{
    const QVector3D half(size.x() / 2, 0, size.z() / 2);
    return { base - half, base + half + QVector3D(0, size.y(), 0) };
}

SceneBox EntityNode::box() const
{
    if (parts.empty()) {
        const QVector3D at
            = placement ? QVector3D(placement->base.x, placement->base.y, placement->base.z) : QVector3D();
        return { at, at };
    }
    SceneBox all = parts.front().box();
    for (const ScenePart& part : parts) {
        const SceneBox box = part.box();
        all.min = QVector3D(std::min(all.min.x(), box.min.x()), std::min(all.min.y(), box.min.y()),
            std::min(all.min.z(), box.min.z()));
        all.max = QVector3D(std::max(all.max.x(), box.max.x()), std::max(all.max.y(), box.max.y()),
            std::max(all.max.z(), box.max.z()));
    }
    return all;
}
