#include "engineering/sexpr.h"

#include <charconv>

// Nodes are written as they are read. An atom's begin and count give its bytes in the source text,
// or, for a quoted atom that had escapes, in `unescaped`; a list's give its item node numbers in
// `items`, where the items of one list stand together because they are moved there only when the
// list ends.
struct SExpr::Store {
    enum Kind : quint32 { atom, unescapedAtom, list };
    // Eight bytes a value: a board has about one value for every eight bytes of text.
    struct Node {
        quint32 begin;
        quint32 count : 30;
        quint32 kind : 2;
    };
    QByteArray source;
    QByteArray unescaped;
    std::vector<Node> nodes;
    std::vector<quint32> items;
};

namespace {

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Reads the text byte by byte: every character that means something here is ASCII, and the bytes
// of any other character in UTF-8 are never ASCII, so they pass through whole.
class Reader {
public:
    explicit Reader(const QByteArray& text)
        : m_text(text)
    {
        m_store->source = text;
    }

    // Returns the store with the first value as its last node, or nothing when there is none.
    std::shared_ptr<SExpr::Store> read();

private:
    void skipSpace();
    quint32 atom(qsizetype begin, qsizetype end, bool isUnescaped = false);
    quint32 quoted();
    quint32 bare();

    QByteArrayView m_text;
    qsizetype m_at = 0;
    std::shared_ptr<SExpr::Store> m_store = std::make_shared<SExpr::Store>();
};

} // namespace

void Reader::skipSpace()
{
    while (m_at < m_text.size()) {
        const char c = m_text[m_at];
        if (isSpace(c)) {
            ++m_at;
        } else if (c == ';') {
            while (m_at < m_text.size() && m_text[m_at] != '\n')
                ++m_at;
        } else {
            return;
        }
    }
}

quint32 Reader::atom(qsizetype begin, qsizetype end, bool isUnescaped)
{
    SExpr::Store& store = *m_store;
    store.nodes.push_back({ quint32(begin), quint32(end - begin),
        isUnescaped ? SExpr::Store::unescapedAtom : SExpr::Store::atom });
    return quint32(store.nodes.size() - 1);
}

// A quoted atom without a backslash stays where it is in the source; one with escapes is copied out.
quint32 Reader::quoted()
{
    const qsizetype begin = ++m_at; // past the opening quote
    while (m_at < m_text.size() && m_text[m_at] != '"' && m_text[m_at] != '\\')
        ++m_at;
    if (m_at == m_text.size())
        return atom(begin, m_at); // the text ended inside the quotes
    if (m_text[m_at] == '"')
        return atom(begin, m_at++);
    QByteArray& text = m_store->unescaped;
    const qsizetype start = text.size();
    text += m_text.sliced(begin, m_at - begin);
    while (m_at < m_text.size()) {
        const char c = m_text[m_at++];
        if (c == '"')
            break;
        if (c == '\\' && m_at < m_text.size()) {
            const char next = m_text[m_at++];
            text += next == 't' ? '\t' : next == 'n' ? '\n' : next;
        } else {
            text += c;
        }
    }
    return atom(start, text.size(), true);
}

quint32 Reader::bare()
{
    const qsizetype begin = m_at;
    while (m_at < m_text.size()) {
        const char c = m_text[m_at];
        if (isSpace(c) || c == '(' || c == ')')
            break;
        ++m_at;
    }
    return atom(begin, m_at);
}

std::shared_ptr<SExpr::Store> Reader::read()
{
    SExpr::Store& store = *m_store;
    store.nodes.reserve(size_t(m_text.size() / 8));
    store.items.reserve(size_t(m_text.size() / 8));
    // Lists are read without recursion: every open list keeps where its items start in `pending`;
    // a value read is pushed there, and a list that ends moves its items into the store.
    std::vector<size_t> open;
    std::vector<quint32> pending;
    const auto closeList = [&] {
        const size_t first = open.back();
        open.pop_back();
        store.nodes.push_back(
            { quint32(store.items.size()), quint32(pending.size() - first), SExpr::Store::list });
        store.items.insert(store.items.end(), pending.begin() + qsizetype(first), pending.end());
        pending.resize(first);
        return quint32(store.nodes.size() - 1);
    };
    for (;;) {
        skipSpace();
        std::optional<quint32> value;
        if (m_at == m_text.size()) {
            if (open.empty())
                return nullptr;
            value = closeList(); // an unclosed list ends with the text
        } else if (m_text[m_at] == '(') {
            ++m_at;
            open.push_back(pending.size());
            continue;
        } else if (m_text[m_at] == ')') {
            ++m_at;
            // A stray ")" at the top level stands for an empty atom.
            value = open.empty() ? atom(0, 0) : closeList();
        } else {
            value = m_text[m_at] == '"' ? quoted() : bare();
        }
        if (open.empty())
            return m_store;
        pending.push_back(*value);
    }
}

std::optional<SExpr> SExpr::parse(const QByteArray& utf8)
{
    // Places and lengths are 32 and 30 bits wide: past 1 GiB the text reads as if it ended there.
    constexpr qsizetype largest = (qsizetype(1) << 30) - 1;
    std::shared_ptr<Store> store = Reader(utf8.size() > largest ? utf8.left(largest) : utf8).read();
    if (!store)
        return std::nullopt;
    const auto last = quint32(store->nodes.size() - 1);
    return SExpr(std::move(store), last);
}

SExpr::SExpr(std::shared_ptr<const Store> store, quint32 node)
    : m_store(std::move(store))
    , m_node(node)
{
}

bool SExpr::isAtom() const
{
    return m_store->nodes[m_node].kind != Store::list;
}

bool SExpr::isList() const
{
    return m_store->nodes[m_node].kind == Store::list;
}

QByteArrayView SExpr::utf8() const
{
    const Store::Node& node = m_store->nodes[m_node];
    if (node.kind == Store::list)
        return {};
    return QByteArrayView(node.kind == Store::unescapedAtom ? m_store->unescaped : m_store->source)
        .sliced(node.begin, node.count);
}

QString SExpr::text() const
{
    return QString::fromUtf8(utf8());
}

qsizetype SExpr::size() const
{
    const Store::Node& node = m_store->nodes[m_node];
    return node.kind == Store::list ? node.count : 0;
}

SExpr SExpr::item(qsizetype index) const
{
    return SExpr(m_store, m_store->items[m_store->nodes[m_node].begin + size_t(index)]);
}

std::vector<SExpr> SExpr::items() const
{
    std::vector<SExpr> all;
    all.reserve(size_t(size()));
    for (qsizetype i = 0; i < size(); ++i)
        all.push_back(item(i));
    return all;
}

bool SExpr::nameIs(QByteArrayView name) const
{
    return size() > 0 && item(0).isAtom() && item(0).utf8() == name;
}

std::optional<QString> SExpr::name() const
{
    if (size() == 0 || !item(0).isAtom())
        return std::nullopt;
    return item(0).text();
}

std::vector<SExpr> SExpr::arguments() const
{
    std::vector<SExpr> rest = items();
    if (!rest.empty())
        rest.erase(rest.begin());
    return rest;
}

std::optional<SExpr> SExpr::child(QByteArrayView name) const
{
    for (qsizetype i = 0; i < size(); ++i) {
        if (item(i).nameIs(name))
            return item(i);
    }
    return std::nullopt;
}

std::vector<SExpr> SExpr::children(QByteArrayView name) const
{
    std::vector<SExpr> found;
    for (qsizetype i = 0; i < size(); ++i) {
        if (item(i).nameIs(name))
            found.push_back(item(i));
    }
    return found;
}

std::optional<double> SExpr::number() const
{
    if (isList())
        return std::nullopt;
    QByteArrayView text = utf8();
    if (text.startsWith('+') && text.size() > 1 && text[1] != '-')
        text = text.sliced(1); // accepted by the C library's reading, not by from_chars
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.isEmpty())
        return std::nullopt;
    return value;
}

std::vector<double> SExpr::numbers(QByteArrayView name) const
{
    std::vector<double> found;
    if (const auto list = child(name)) {
        for (qsizetype i = 1; i < list->size(); ++i) {
            if (const auto value = list->item(i).number())
                found.push_back(*value);
        }
    }
    return found;
}
