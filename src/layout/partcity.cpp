#include "layout/partcity.h"

#include <array>
#include <cmath>

namespace {

Language roleKind(const char* name, std::uint32_t dark, std::uint32_t light)
{
    return { QString::fromLatin1(name), dark, light, CommentStyle::none, false };
}

enum RoleKind { function, method, klass, handler, rule, element, variable, block, external, kindCount };

RoleKind kindOf(WebRole role)
{
    switch (role) {
    case WebRole::function: return function;
    case WebRole::method: return method;
    case WebRole::klass:
    case WebRole::object: return klass;
    case WebRole::handler:
    case WebRole::events:
    case WebRole::event: return handler;
    case WebRole::rule:
    case WebRole::atRule:
    case WebRole::keyframes: return rule;
    case WebRole::group:
    case WebRole::element: return element;
    case WebRole::variable: return variable;
    case WebRole::styleBlock:
    case WebRole::scriptBlock: return block;
    case WebRole::external: return external;
    }
    return block;
}

// The lines a part spans, at least one; a part with no text of its own counts its contents.
qint64 spanOf(const WebDocument::Node& node)
{
    return node.line >= 0 ? std::max<qint64>(node.endLine - node.line + 1, 1) : 1;
}

} // namespace

const Language& PartCity::roleLanguage(WebRole role)
{
    // Hues far apart on both grounds; the light theme's are darker so that pale roofs still read.
    static const std::array<Language, kindCount> kinds { roleKind("Function", 0x5aa9ff, 0x1f6fd1),
        roleKind("Method", 0x4fd1c5, 0x12877d), roleKind("Class", 0xc792ea, 0x7b3fb5),
        roleKind("Handler", 0xffb454, 0xc06600), roleKind("Style rule", 0xf07178, 0xc0394a),
        roleKind("Element", 0xa5d66f, 0x4a8a18), roleKind("Variable", 0xe6d06c, 0x938000),
        roleKind("Block", 0x8b95a7, 0x5f687a), roleKind("External", 0xc4a484, 0x7a5a44) };
    return kinds[kindOf(role)];
}

PartCity::PartCity(const WebDocument& document, const QString& fileUrl, const QString& fileName)
    : m_root(std::make_unique<FileNode>(fileUrl, fileName, QString(), true, nullptr))
    , m_nodes(document.nodes.size(), nullptr)
{
    // Depth first from the roots, with an explicit stack: documents can nest deeply.
    std::vector<std::pair<qsizetype, FileNode*>> stack;
    // A source file is one block of code (beside the events it registers, perhaps): its parts stand
    // on the file's own ground.
    QList<qsizetype> top;
    const auto isBlock = [&document](qsizetype id) {
        const WebRole role = document.nodes[std::size_t(id)].role;
        return role == WebRole::scriptBlock || role == WebRole::styleBlock;
    };
    const bool oneBlock = std::count_if(document.roots.begin(), document.roots.end(), [&](qsizetype id) {
        return std::size_t(id) < document.nodes.size() && isBlock(id);
    }) == 1;
    for (const qsizetype id : document.roots) {
        if (oneBlock && std::size_t(id) < document.nodes.size() && isBlock(id))
            top += document.nodes[std::size_t(id)].children;
        else
            top.append(id);
    }
    for (auto root = top.crbegin(); root != top.crend(); ++root)
        stack.emplace_back(*root, m_root.get());
    while (!stack.empty()) {
        const auto [id, parent] = stack.back();
        stack.pop_back();
        if (id < 0 || std::size_t(id) >= document.nodes.size() || m_nodes[std::size_t(id)])
            continue;
        const WebDocument::Node& part = document.nodes[std::size_t(id)];
        // What a file includes or imports is another file's code: the outline lists it, the city
        // does not stand it among the file's own parts.
        if (part.role == WebRole::external)
            continue;
        // A function's own variables are its inside, not parts beside it: the function stands as
        // one building, and holds only the functions and classes declared in it. A part that holds
        // only what is left out stands as a building too.
        const bool callable
            = part.role == WebRole::function || part.role == WebRole::method || part.role == WebRole::handler;
        QList<qsizetype> inside = part.children;
        inside.removeIf([&document, callable](qsizetype child) {
            if (std::size_t(child) >= document.nodes.size())
                return true;
            const WebRole role = document.nodes[std::size_t(child)].role;
            return role == WebRole::external || (callable && role == WebRole::variable);
        });
        const bool holds = !inside.isEmpty();
        auto node = std::make_unique<FileNode>(fileUrl, part.name.isEmpty() ? roleName(part.role) : part.name,
            QString::number(id), holds, parent);
        node->language = &roleLanguage(part.role);
        node->lines = spanOf(part);
        node->size = node->lines;
        FileNode* added = parent->addChild(std::move(node));
        m_nodes[std::size_t(id)] = added;
        for (auto child = inside.crbegin(); child != inside.crend(); ++child)
            stack.emplace_back(*child, added);
    }
    m_root->finalize();
    // Finishing drops containers left without contents: the parts are indexed from what remains,
    // each node's path being its part's number.
    std::fill(m_nodes.begin(), m_nodes.end(), nullptr);
    std::vector<FileNode*> walk { m_root.get() };
    m_every.insert(m_root.get());
    while (!walk.empty()) {
        FileNode* node = walk.back();
        walk.pop_back();
        for (const auto& child : node->children) {
            const qsizetype id = child->relativePath.toLongLong();
            m_nodes[std::size_t(id)] = child.get();
            m_parts.insert(child.get(), id);
            m_every.insert(child.get());
            walk.push_back(child.get());
        }
    }
}

float PartCity::heightScale() const
{
    qint64 longest = 1;
    for (const auto& [node, part] : m_parts.asKeyValueRange()) {
        if (!node->isDirectory)
            longest = std::max(longest, node->lines);
    }
    // The same curve the city draws heights on, so that a part keeps its height among longer ones.
    return float(std::pow(std::min(1.0, double(longest) / double(fullHeightLines)), 0.62));
}

const FileNode* PartCity::node(qsizetype part) const
{
    return part >= 0 && std::size_t(part) < m_nodes.size() ? m_nodes[std::size_t(part)] : nullptr;
}

std::optional<qsizetype> PartCity::part(const FileNode* node) const
{
    const auto found = m_parts.constFind(node);
    return found == m_parts.cend() ? std::nullopt : std::optional(*found);
}
