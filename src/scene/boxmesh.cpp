#include "scene/boxmesh_p.h"

#include <QVector3D>

#include <cmath>

BoxMesh boxMesh()
{
    BoxMesh mesh;
    const auto vertex = [&](const QVector3D& p, const QVector3D& n) {
        mesh.vertices.push_back({ { p.x(), p.y(), p.z() }, { n.x(), n.y(), n.z() } });
    };
    // Corners of a triangle, wound counter-clockwise seen from outside, `last` staying last.
    const auto triangle = [&](GLushort a, GLushort b, GLushort last, const QVector3D& normal) {
        const auto at = [&](GLushort i) {
            const float* p = mesh.vertices[i].position;
            return QVector3D(p[0], p[1], p[2]);
        };
        if (QVector3D::dotProduct(QVector3D::crossProduct(at(b) - at(a), at(last) - at(a)), normal) < 0)
            std::swap(a, b);
        mesh.indices.insert(mesh.indices.end(), { a, b, last });
    };

    const QVector3D normals[]
        = { { 1, 0, 0 }, { -1, 0, 0 }, { 0, 1, 0 }, { 0, -1, 0 }, { 0, 0, 1 }, { 0, 0, -1 } };
    for (const QVector3D& n : normals) {
        // Two axes across the face.
        const QVector3D u = std::abs(n.y()) > 0 ? QVector3D(1, 0, 0) : QVector3D(0, 1, 0);
        const QVector3D v = QVector3D::crossProduct(n, u);
        const QVector3D centre = QVector3D(0, 0.5f, 0) + n / 2;
        const auto first = GLushort(mesh.vertices.size());
        for (const QVector3D& p :
            { centre + (-u - v) / 2, centre + (u - v) / 2, centre + (u + v) / 2, centre + (-u + v) / 2 })
            vertex(p, n);
        triangle(first, GLushort(first + 1), GLushort(first + 2), n);
        triangle(first, GLushort(first + 2), GLushort(first + 3), n);
    }

    for (const float sx : { 1.0f, -1.0f }) {
        for (const float sz : { 1.0f, -1.0f }) {
            const float nearX = sx / 2, farX = -sx / 2, nearZ = sz / 2, farZ = -sz / 2;
            const QVector3D up(0, 1, 0), side(sx, 0, 0), front(0, 0, sz);
            const auto first = GLushort(mesh.vertices.size());
            enum : GLushort {
                topFar,
                topSide,
                topNear,
                topFront,
                bottomSide,
                bottomNear,
                bottomFront,
                bottomNearFront
            };
            vertex({ farX, 1, farZ }, up); // ends the top's triangles
            vertex({ nearX, 1, farZ }, up);
            vertex({ nearX, 1, nearZ }, up);
            vertex({ farX, 1, nearZ }, up);
            vertex({ nearX, 0, farZ }, side); // ends the side's
            vertex({ nearX, 0, nearZ }, side);
            vertex({ farX, 0, nearZ }, front); // ends the front's
            // The near foot again, for the front: each side's foot rises on its own.
            vertex({ nearX, 0, nearZ }, front);
            const auto c = [&](GLushort corner) { return GLushort(first + corner); };
            triangle(c(topSide), c(topNear), c(topFar), up);
            triangle(c(topNear), c(topFront), c(topFar), up);
            triangle(c(topSide), c(topNear), c(bottomSide), side);
            triangle(c(topNear), c(bottomNear), c(bottomSide), side);
            triangle(c(topNear), c(topFront), c(bottomFront), front);
            triangle(c(bottomNearFront), c(topNear), c(bottomFront), front);
        }
    }
    return mesh;
}

std::vector<MeshVertex> planeMesh()
{
    std::vector<MeshVertex> mesh;
    const float corners[4][2] = { { -0.5f, -0.5f }, { -0.5f, 0.5f }, { 0.5f, 0.5f }, { 0.5f, -0.5f } };
    for (const int i : { 0, 1, 2, 0, 2, 3 })
        mesh.push_back({ { corners[i][0], 0, corners[i][1] }, { 0, 1, 0 } });
    return mesh;
}
