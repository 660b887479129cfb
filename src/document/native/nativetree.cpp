#include "document/native/nativetree.h"

#include "text/bytetext.h"

#include <QHash>

using Kind = ScriptSymbol::Kind;

qsizetype NativeTree::add(NativeSymbol symbol, std::optional<qsizetype> parent)
{
    const qsizetype id = size();
    symbol.parent = parent;
    m_nodes.push_back(std::move(symbol));
    if (parent)
        m_nodes[size_t(*parent)].children.push_back(id);
    else
        m_roots.push_back(id);
    m_functionNames.reset();
    return id;
}

void NativeTree::move(qsizetype id, qsizetype parent)
{
    NativeSymbol& symbol = m_nodes[size_t(id)];
    std::vector<qsizetype>& from = symbol.parent ? m_nodes[size_t(*symbol.parent)].children : m_roots;
    from.erase(std::remove(from.begin(), from.end(), id), from.end());
    symbol.parent = parent;
    m_nodes[size_t(parent)].children.push_back(id);
}

std::optional<qsizetype> NativeTree::record(QByteArrayView name) const
{
    for (qsizetype id = 0; id < size(); ++id) {
        const NativeSymbol& node = m_nodes[size_t(id)];
        if (node.symbol.kind == Kind::klass && !node.standIn && node.symbol.name == name)
            return id;
    }
    return std::nullopt;
}

bool NativeTree::isFunction(qsizetype id) const
{
    const ScriptSymbol& symbol = m_nodes[size_t(id)].symbol;
    return (symbol.kind == Kind::function || symbol.kind == Kind::method || symbol.kind == Kind::handler)
        && symbol.detail != "macro";
}

bool NativeTree::namesFunction(QByteArrayView name) const
{
    if (!m_functionNames) {
        m_functionNames.emplace();
        for (qsizetype id = 0; id < size(); ++id) {
            if (isFunction(id))
                m_functionNames->insert(m_nodes[size_t(id)].symbol.name);
        }
    }
    return m_functionNames->contains(name.toByteArray());
}

// Reading order, whatever the order of adding: methods moved into their class, and classes made to
// hold them, take their places by where they are written.
std::vector<ScriptSymbol> NativeTree::inOrder(const std::vector<qsizetype>& ids)
{
    std::vector<qsizetype> sorted = ids;
    std::stable_sort(sorted.begin(), sorted.end(), [&](qsizetype a, qsizetype b) {
        return m_nodes[size_t(a)].symbol.start < m_nodes[size_t(b)].symbol.start;
    });
    std::vector<ScriptSymbol> symbols;
    symbols.reserve(sorted.size());
    for (const qsizetype id : sorted) {
        symbols.push_back(std::move(m_nodes[size_t(id)].symbol));
        symbols.back().children = inOrder(m_nodes[size_t(id)].children);
    }
    return symbols;
}

std::vector<ScriptSymbol> NativeTree::build()
{
    std::vector<ScriptSymbol> symbols = inOrder(m_roots);
    *this = NativeTree();
    return symbols;
}

namespace NativeHandlers {

namespace {

using ByteText::among;

void makeHandler(ScriptSymbol& symbol, const QByteArray& event)
{
    symbol.kind = Kind::handler;
    symbol.event = event;
}

} // namespace

void attachOutOfLine(NativeTree& tree)
{
    QHash<QByteArray, qsizetype> records;
    for (qsizetype id = 0; id < tree.size(); ++id) {
        const NativeSymbol& node = tree[id];
        if (node.symbol.kind == Kind::klass && !records.contains(node.symbol.name))
            records.insert(node.symbol.name, id);
    }
    QHash<QByteArray, qsizetype> standIns;
    const qsizetype count = tree.size();
    for (qsizetype id = 0; id < count; ++id) {
        if (tree[id].qualifier.isEmpty() || !tree.isFunction(id) || tree[id].member)
            continue;
        const QByteArray qualifier = tree[id].qualifier;
        qsizetype owner;
        if (const auto record = records.constFind(qualifier); record != records.constEnd()) {
            owner = *record;
        } else if (const auto standIn = standIns.constFind(qualifier); standIn != standIns.constEnd()) {
            owner = *standIn;
        } else {
            NativeSymbol holder;
            holder.standIn = true;
            holder.symbol.kind = Kind::klass;
            holder.symbol.name = qualifier;
            holder.symbol.detail = "defined elsewhere";
            holder.symbol.line = tree[id].symbol.line;
            holder.symbol.start = tree[id].symbol.start;
            owner = tree.add(std::move(holder), tree[id].parent);
            standIns.insert(qualifier, owner);
        }
        tree.move(id, owner);
        NativeSymbol& method = tree[id];
        method.member = true;
        if (method.symbol.kind == Kind::function)
            method.symbol.kind = Kind::method;
        ScriptSymbol& holder = tree[owner].symbol;
        if (tree[owner].standIn) {
            holder.line = std::min(holder.line, method.symbol.line);
            holder.start = std::min(holder.start, method.symbol.start);
            holder.endLine = std::max(holder.endLine, method.symbol.endLine);
            holder.end = std::max(holder.end, method.symbol.end);
        }
    }
}

QByteArray registers(QByteArrayView called)
{
    if (among(called,
            { "attachInterrupt", "attachInterruptArg", "gpio_isr_handler_add", "HAL_NVIC_SetVector" }))
        return "interrupt";
    if (among(called, { "signal", "sigset" }))
        return "signal";
    if (among(called, { "atexit", "at_quick_exit" }))
        return "exit";
    if (among(called,
            { "pthread_create", "thread", "xTaskCreate", "xTaskCreatePinnedToCore", "osThreadNew",
                "k_thread_create" }))
        return "thread";
    if (among(called,
            { "attach", "attach_ms", "attach_us", "xTimerCreate", "esp_timer_create", "setInterval",
                "setTimeout" }))
        return "timer";
    if (called.size() >= 3 && called.startsWith("on") && called[2] >= 'A' && called[2] <= 'Z')
        return ByteText::lowered(called.sliced(2));
    return {};
}

void markRegistered(NativeTree& tree, QByteArray (*eventOf)(QByteArrayView called))
{
    QHash<QByteArray, qsizetype> functions;
    for (qsizetype id = 0; id < tree.size(); ++id) {
        if (tree.isFunction(id) && !functions.contains(tree[id].symbol.name))
            functions.insert(tree[id].symbol.name, id);
    }
    for (qsizetype id = 0; id < tree.size(); ++id) {
        for (const Registration& registration : tree[id].registrations) {
            const QByteArray event = eventOf(registration.called);
            if (event.isEmpty())
                continue;
            for (const QByteArray& name : registration.passed) {
                const auto target = functions.constFind(name);
                if (target == functions.constEnd())
                    continue;
                ScriptSymbol& handler = tree[*target].symbol;
                if (handler.kind == Kind::handler)
                    continue; // an earlier rule or registration named it
                makeHandler(handler, event);
                handler.detail += " · via " + registration.called;
            }
        }
    }
}

void markHandlers(NativeTree& tree)
{
    for (qsizetype id = 0; id < tree.size(); ++id) {
        if (!tree.isFunction(id))
            continue;
        NativeSymbol& node = tree[id];
        ScriptSymbol& symbol = node.symbol;
        const QByteArray& name = symbol.name;
        if (node.viaMacro || name.endsWith("_IRQHandler")
            || (name.endsWith("_Handler") && name.contains("IRQ")) || name.startsWith("__vector_")) {
            makeHandler(symbol, "interrupt");
        } else if (!node.member && among(name, { "main", "setup", "app_main", "wmain", "WinMain" })) {
            makeHandler(symbol, "start");
        } else if (!node.member && name == "loop") {
            makeHandler(symbol, "loop");
        }
    }
    markRegistered(tree, registers);
}

void linkPassed(NativeTree& tree)
{
    for (qsizetype id = 0; id < tree.size(); ++id) {
        ScriptSymbol& symbol = tree[id].symbol;
        ByteText::UniqueNames calls(symbol.calls);
        for (const QByteArray& name : std::as_const(symbol.passed)) {
            if (name != symbol.name && tree.namesFunction(name))
                calls.add(name);
        }
    }
}

} // namespace NativeHandlers
