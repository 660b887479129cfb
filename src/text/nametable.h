#pragma once

#include <QString>

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

// The names of an enumeration's cases as the program writes them (JSON, options, settings), in the
// order the cases are declared, which must be 0, 1, 2 …: one table serves both directions.
//     constexpr auto colorModeNames = nameTable<ColorMode>("language", "age", "churn", "status");
template <typename Enum, std::size_t N> struct NameTable {
    std::array<std::string_view, N> names;

    static constexpr std::size_t size() { return N; }

    QString name(Enum value) const
    {
        const auto index = std::size_t(value);
        return index < N ? QString::fromLatin1(names[index].data(), qsizetype(names[index].size()))
                         : QString();
    }

    std::optional<Enum> find(QStringView name) const
    {
        for (std::size_t index = 0; index < N; ++index) {
            if (name == QLatin1StringView(names[index].data(), qsizetype(names[index].size())))
                return Enum(index);
        }
        return std::nullopt;
    }
};

template <typename Enum, typename... Names> constexpr auto nameTable(const Names&... names)
{
    return NameTable<Enum, sizeof...(Names)> { { std::string_view(names)... } };
}
