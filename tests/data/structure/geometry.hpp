#pragma once

#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace geo {

struct Point {
    double x = 0;
    double y = 0;
};

class Shape {
public:
    virtual ~Shape() = default;
    virtual double area() const = 0;
    virtual std::string name() const { return "shape"; }
    int id() const { return m_id; }

protected:
    explicit Shape(int id) : m_id(id) {}

private:
    int m_id;
};

class Circle final : public Shape {
public:
    Circle(int id, Point centre, double radius) : Shape(id), m_centre{centre}, m_radius(radius) {}
    double area() const override { return M_PI * m_radius * m_radius; }
    std::string name() const override { return "circle"; }
    static std::unique_ptr<Circle> unit() { return std::make_unique<Circle>(0, Point {}, 1.0); }

private:
    Point m_centre;
    double m_radius;
};

template <typename T>
class Registry {
public:
    void add(std::unique_ptr<T> item) { m_items.push_back(std::move(item)); }
    double totalArea() const;
    bool operator==(const Registry& other) const { return m_items.size() == other.m_items.size(); }

private:
    std::vector<std::unique_ptr<T>> m_items;
};

template <typename T>
double Registry<T>::totalArea() const
{
    double sum = 0;
    for (const auto& item : m_items)
        sum += item->area();
    return sum;
}

namespace detail {
inline double square(double v) { return v * v; }
} // namespace detail

inline double distance(Point a, Point b)
{
    return std::sqrt(detail::square(a.x - b.x) + detail::square(a.y - b.y));
}

enum class Unit : unsigned char { millimetre, centimetre = 10, metre = 100 };

} // namespace geo
