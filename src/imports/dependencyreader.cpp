#include "imports/dependencyreader.h"

#include "scan/parallel.h"
#include "text/bytetext.h"

#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <atomic>
#include <mutex>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace DependencyReader {

namespace {

// Reports one phase: at its start, at most every 80 ms while it runs, and at its end.
class PhaseProgress {
public:
    PhaseProgress(const ProgressCallback& callback, QString phase, qint64 total)
        : m_callback(callback)
        , m_phase(std::move(phase))
        , m_total(total)
    {
        m_clock.start();
        report(0);
    }

    void step()
    {
        const qint64 done = ++m_done;
        if (!m_callback || (done & 15) != 0)
            return;
        {
            std::lock_guard lock(m_lock);
            if (m_clock.elapsed() < 80)
                return;
            m_clock.restart();
        }
        report(std::min(done, m_total));
    }

    void finish() { report(m_done); }

private:
    void report(qint64 done) const
    {
        if (m_callback)
            m_callback({ m_phase, done, m_total });
    }

    const ProgressCallback& m_callback;
    QString m_phase;
    qint64 m_total;
    std::atomic<qint64> m_done = 0;
    std::mutex m_lock;
    QElapsedTimer m_clock;
};

std::optional<qint32> found(const StringMap<qint32>& map, std::string_view key)
{
    const auto it = map.find(key);
    return it == map.end() ? std::nullopt : std::optional(it->second);
}

// The one file a name stands for, or nothing when it names none or several.
std::optional<qint32> only(const StringMap<std::vector<qint32>>& map, std::string_view key)
{
    const auto it = map.find(key);
    return it == map.end() || it->second.size() != 1 ? std::nullopt : std::optional(it->second.front());
}

// The candidate path itself, then with each extension of the language as a file, an index, a
// Rust module and a Python package.
std::optional<qint32> probe(
    const std::string& candidate, const ImportLanguage& language, const Lookup& lookup)
{
    if (const auto hit = found(lookup.byPath, candidate))
        return hit;
    static constexpr std::string_view forms[] = { ".", "/index.", "/mod.", "/__init__." };
    std::string path;
    for (const std::string_view extension : language.extensions) {
        for (std::string_view form : forms) {
            if (candidate.empty()) {
                if (form == ".")
                    continue; // "." names the folder, not a file called ".py"
                form.remove_prefix(1); // the folder is the scanned root
            }
            path.assign(candidate).append(form).append(extension);
            if (const auto hit = found(lookup.byPath, path))
                return hit;
        }
    }
    return std::nullopt;
}

struct FileRead {
    bool read = false;
    std::vector<Reference> references;
    std::vector<QByteArray> declared; // Swift only
    std::vector<QByteArray> used; // Swift only
};

struct Candidate {
    qint32 index;
    const ImportLanguage* language;
};

int workerCount()
{
    return std::max(1, QThread::idealThreadCount());
}

bool isCancelled(const CancelFlagPtr& cancel)
{
    return cancel && cancel->isCancelled();
}

// The files of a language with import rules that are worth reading, in file order.
std::vector<Candidate> candidatesOf(const DependencyGraph& graph)
{
    std::vector<Candidate> candidates;
    QHash<const Language*, const ImportLanguage*> languages;
    for (size_t i = 0; i < graph.files.size(); ++i) {
        const FileNode& file = *graph.files[i];
        auto known = languages.constFind(file.language);
        if (known == languages.cend())
            known = languages.insert(file.language, importLanguage(*file.language));
        if (*known && !file.isBinary && file.size < maxFileBytes)
            candidates.push_back({ qint32(i), *known });
    }
    return candidates;
}

void readImports(const Beneath& folder, const FileNode& file, const ImportLanguage& language, FileRead& out)
{
    const std::optional<QByteArray> text = read(folder, file);
    if (!text)
        return;
    out.read = true;
    out.references = references(*text, language);
    if (language.syntax == Syntax::swift) {
        out.declared = swiftDeclarations(*text);
        out.used = identifiers(*text);
    }
}

// Every candidate's imports, read on every core, one slot per candidate; nothing when stopped.
std::optional<std::vector<FileRead>> readAll(const DependencyGraph& graph,
    const std::vector<Candidate>& candidates, const CancelFlagPtr& cancel, const ProgressCallback& progress)
{
    const auto count = int(candidates.size());
    std::vector<FileRead> reads(candidates.size());
    PhaseProgress reading(progress, QStringLiteral("Reading imports"), count);
    const Beneath folder(graph.root ? graph.root->top().url : QString());
    parallelFor(count, workerCount(), [&](int c) {
        if (isCancelled(cancel))
            return;
        const Candidate& candidate = candidates[size_t(c)];
        readImports(folder, *graph.files[size_t(candidate.index)], *candidate.language, reads[size_t(c)]);
        reading.step();
    });
    if (isCancelled(cancel))
        return std::nullopt;
    reading.finish();
    return reads;
}

// Where each Swift type is declared, files in index order.
StringMap<std::vector<qint32>> swiftDeclarationSites(
    const std::vector<Candidate>& candidates, const std::vector<FileRead>& reads)
{
    StringMap<std::vector<qint32>> declarations;
    for (size_t c = 0; c < candidates.size(); ++c) {
        for (const QByteArray& name : reads[c].declared) {
            std::vector<qint32>& at = declarations[name.toStdString()];
            if (at.empty() || at.back() != candidates[c].index)
                at.push_back(candidates[c].index);
        }
    }
    return declarations;
}

// What linking reads, shared by every thread, and what it finds, one slot per candidate.
struct Linking {
    const DependencyGraph& graph;
    const Lookup& lookup;
    const std::vector<Candidate>& candidates;
    const std::vector<FileRead>& reads;
    const StringMap<std::vector<qint32>>& declarations;
    std::vector<std::vector<std::optional<qint32>>> targets;
    std::vector<std::vector<qint32>> typeTargets;
};

// The file each import of candidate c names, asking `known` (the answers of its stretch) first.
void resolveReferences(Linking& linking, size_t c, StringMap<std::optional<qint32>>& known, std::string& key)
{
    const Candidate& candidate = linking.candidates[c];
    const FileNode* parent = linking.graph.files[size_t(candidate.index)]->parent;
    const QByteArray from = parent ? parent->relativePath.toUtf8() : QByteArray();
    for (const Reference& reference : linking.reads[c].references) {
        key.assign(candidate.language->name).append(1, reference.relative ? '\1' : '\0');
        key.append(from.constData(), size_t(from.size())).append(1, '\0');
        key.append(reference.name.constData(), size_t(reference.name.size()));
        auto answer = known.find(key);
        if (answer == known.end()) {
            const std::string_view folder(from.constData(), size_t(from.size()));
            answer
                = known.emplace(key, resolve(reference, folder, *candidate.language, linking.lookup)).first;
        }
        linking.targets[c].push_back(answer->second);
    }
}

// A Swift file is linked to the file that declares a type it uses, unless it declares one of that
// name itself.
void resolveUsedTypes(Linking& linking, size_t c)
{
    const qint32 index = linking.candidates[c].index;
    for (const QByteArray& word : linking.reads[c].used) {
        const auto declared
            = linking.declarations.find(std::string_view(word.constData(), size_t(word.size())));
        if (declared == linking.declarations.end())
            continue;
        if (std::find(declared->second.begin(), declared->second.end(), index) == declared->second.end())
            linking.typeTargets[c].push_back(declared->second.front());
    }
}

// Resolved on every core, linked in file order by addLinks, so the graph is the same on any machine.
// Nothing when stopped.
bool resolveAll(Linking& linking, const CancelFlagPtr& cancel, const ProgressCallback& progress)
{
    const auto count = int(linking.candidates.size());
    linking.targets.resize(linking.candidates.size());
    linking.typeTargets.resize(linking.candidates.size());
    PhaseProgress resolving(progress, QStringLiteral("Linking files"), count);
    // Files of one folder, next to each other in tree order, often import the same names: each
    // stretch of files keeps the answers it found.
    const int stretches = std::min(count, workerCount() * 8);
    parallelFor(stretches, workerCount(), [&](int stretch) {
        StringMap<std::optional<qint32>> known;
        std::string key;
        for (int c = int(qint64(count) * stretch / stretches);
             c < int(qint64(count) * (stretch + 1) / stretches); ++c) {
            if (isCancelled(cancel))
                return;
            resolveReferences(linking, size_t(c), known, key);
            resolveUsedTypes(linking, size_t(c));
            resolving.step();
        }
    });
    if (isCancelled(cancel))
        return false;
    resolving.finish();
    return true;
}

// Adds what was resolved to the graph in candidate order, counting what was not.
void addLinks(DependencyGraph& graph, const Linking& linking)
{
    for (size_t c = 0; c < linking.candidates.size(); ++c) {
        const qint32 from = linking.candidates[c].index;
        const FileRead& file = linking.reads[c];
        graph.scanned += file.read ? 1 : 0;
        for (size_t r = 0; r < file.references.size(); ++r) {
            if (const std::optional<qint32> target = linking.targets[c][r])
                graph.link(from, *target);
            else if (file.references[r].relative)
                ++graph.unresolved;
            else
                ++graph.external;
        }
        for (const qint32 target : linking.typeTargets[c])
            graph.link(from, target);
    }
}

} // namespace

std::string normalise(std::string_view path)
{
    std::vector<std::string_view> parts;
    size_t start = 0;
    while (start <= path.size()) {
        size_t slash = path.find('/', start);
        if (slash == std::string_view::npos)
            slash = path.size();
        const std::string_view part = path.substr(start, slash - start);
        if (part == "..") {
            if (!parts.empty())
                parts.pop_back();
        } else if (!part.empty() && part != ".") {
            parts.push_back(part);
        }
        start = slash + 1;
    }
    std::string joined;
    joined.reserve(path.size());
    for (const std::string_view part : parts) {
        if (!joined.empty())
            joined += '/';
        joined += part;
    }
    return joined;
}

Lookup Lookup::of(const DependencyGraph& graph)
{
    Lookup lookup;
    lookup.byPath.reserve(graph.files.size());
    for (size_t i = 0; i < graph.files.size(); ++i) {
        const FileNode& file = *graph.files[i];
        const auto index = qint32(i);
        lookup.byPath.try_emplace(ByteText::lower(file.relativePath.toUtf8()), index);
        const std::string name = ByteText::lower(file.name.toUtf8());
        const size_t dot = name.rfind('.');
        if (dot != std::string::npos && dot > 0)
            lookup.byStem[name.substr(0, dot)].push_back(index);
        lookup.byName[name].push_back(index);
    }
    if (!graph.root)
        return lookup;
    // Folders in tree order, each with the files directly in it; the scanned root has no name here.
    std::vector<const FileNode*> pending { graph.root };
    while (!pending.empty()) {
        const FileNode* folder = pending.back();
        pending.pop_back();
        std::vector<qint32>* members
            = folder == graph.root ? nullptr : &lookup.byFolder[ByteText::lower(folder->name.toUtf8())];
        for (auto child = folder->children.rbegin(); child != folder->children.rend(); ++child) {
            if ((*child)->isDirectory)
                pending.push_back(child->get());
        }
        if (!members)
            continue;
        for (const auto& child : folder->children) {
            const qint32 index = child->isDirectory ? -1 : graph.fileSlots.value(child.get(), -1);
            if (index >= 0)
                members->push_back(index);
        }
    }
    return lookup;
}

std::optional<qint32> resolve(
    const Reference& reference, std::string_view from, const ImportLanguage& language, const Lookup& lookup)
{
    QByteArrayView written = reference.name;
    if (written.startsWith("./"))
        written = written.sliced(2);
    std::string name = ByteText::lower(written);
    if (language.syntax == Syntax::swift) {
        // A module is a folder of sources: its first file stands for it.
        const auto it = lookup.byFolder.find(name);
        return it == lookup.byFolder.end() || it->second.empty() ? std::nullopt
                                                                 : std::optional(it->second.front());
    }
    if (language.syntax == Syntax::python)
        std::replace(name.begin(), name.end(), '.', '/');
    name.erase(0, name.find_first_not_of('/'));

    // The importer's folder and each folder above it, nearest first, then the root.
    const bool nearFirst
        = reference.relative || language.syntax == Syntax::python || language.syntax == Syntax::rust;
    std::string base = nearFirst ? ByteText::lower(QByteArrayView(from.data(), qsizetype(from.size()))) : "";
    while (true) {
        const std::string candidate = normalise(base.empty() ? name : base + '/' + name);
        if (const auto hit = probe(candidate, language, lookup))
            return hit;
        if (base.empty())
            break;
        const size_t slash = base.rfind('/');
        base.resize(slash == std::string::npos ? 0 : slash);
    }

    // Anywhere in the folder, by file name or by stem, as long as exactly one file answers.
    const size_t slash = name.rfind('/');
    const std::string_view last = std::string_view(name).substr(slash == std::string::npos ? 0 : slash + 1);
    if (const auto hit = only(lookup.byName, last))
        return hit;
    return only(lookup.byStem, last);
}

std::optional<QByteArray> read(const Beneath& folder, const FileNode& file)
{
    if (file.isDirectory || file.isBinary || file.size >= maxFileBytes)
        return std::nullopt;
    bool whole = false;
    std::optional<QByteArray> text = folder.read(file.relativePath.toUtf8(), maxFileBytes, &whole);
    if (!text || !whole)
        return std::nullopt;
    if (!QByteArrayView(*text).isValidUtf8())
        *text = QString::fromUtf8(*text).toUtf8(); // invalid sequences become U+FFFD
    return text;
}

std::optional<DependencyGraph> build(
    const FileNode& root, const CancelFlagPtr& cancel, const ProgressCallback& progress)
{
    DependencyGraph graph = DependencyGraph::ofTree(root);
    const Lookup lookup = Lookup::of(graph);
    const std::vector<Candidate> candidates = candidatesOf(graph);
    std::optional<std::vector<FileRead>> reads = readAll(graph, candidates, cancel, progress);
    if (!reads)
        return std::nullopt;
    const StringMap<std::vector<qint32>> declarations = swiftDeclarationSites(candidates, *reads);
    Linking linking { graph, lookup, candidates, *reads, declarations, {}, {} };
    if (!resolveAll(linking, cancel, progress))
        return std::nullopt;
    addLinks(graph, linking);
    return graph;
}

} // namespace DependencyReader
