#pragma once

#include "document/webdocument.h"
#include "layout/aggregation.h"
#include "model/filenode.h"

#include <QHash>

#include <memory>
#include <optional>
#include <vector>

// A file's parts as a tree the city layout can stand up: the file is the top folder, every part
// that holds others (a class, a namespace, a page element, a style or script block) is a folder
// whose lot its contents share, and every other part (a function, a method, a rule, a handler) is
// a building as many lines tall as it spans; a function's own variables and the files it includes
// are not drawn. Each part
// is painted in the colour of its role, so
// the legend reads "Function", "Class", "Style rule" where a folder's city reads languages.
class PartCity {
public:
    PartCity(const WebDocument& document, const QString& fileUrl, const QString& fileName);
    PartCity(const PartCity&) = delete;
    PartCity& operator=(const PartCity&) = delete;

    const FileNode& root() const { return *m_root; }
    // The node that stands for a part; none for a part the city leaves out.
    const FileNode* node(qsizetype part) const;
    std::optional<qsizetype> part(const FileNode* node) const;
    // How much of a city's full height the longest part earns, from 0 to 1: a file whose parts are
    // all a few lines long (minified code is one line) stands low, not as tall as a long function.
    float heightScale() const;
    static constexpr qint64 fullHeightLines = 80;
    // Every node of the city, its top included: laid out with this, no part is drawn whole.
    const NodeSet& everyNode() const { return m_every; }

    // The colour and the legend's word for a role; roles that read alike share one.
    static const Language& roleLanguage(WebRole role);

private:
    std::unique_ptr<FileNode> m_root;
    std::vector<FileNode*> m_nodes; // per part of the document
    QHash<const FileNode*, qsizetype> m_parts;
    NodeSet m_every;
};
