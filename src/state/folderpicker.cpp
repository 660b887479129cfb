#include "state/folderpicker.h"

#include "text/fuzzy.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

const FolderEntry* FolderPicker::highlighted() const
{
    return m_index >= 0 && m_index < m_shown.size() ? &m_shown[m_index] : nullptr;
}

void FolderPicker::showFolder(const QString& folder, const QString& highlight)
{
    m_path = QDir::cleanPath(QFileInfo(folder).absoluteFilePath());
    m_filter.clear();
    m_all = listFolders(m_path, true);
    narrow(highlight);
}

void FolderPicker::setFilter(const QString& text)
{
    if (text == m_filter)
        return;
    m_filter = text;
    narrow({});
}

void FolderPicker::narrow(const QString& highlight)
{
    const QStringList terms = Fuzzy::terms(m_filter);
    const bool hidden = m_filter.trimmed().startsWith(u'.');
    m_shown.clear();
    for (const FolderEntry& entry : std::as_const(m_all)) {
        if ((hidden || !entry.name.startsWith(u'.'))
            && (terms.isEmpty() || Fuzzy::matches(terms, entry.name)))
            m_shown.append(entry);
    }
    const auto named = std::find_if(
        m_shown.cbegin(), m_shown.cend(), [&](const FolderEntry& entry) { return entry.name == highlight; });
    m_index = m_shown.isEmpty() ? -1 : named == m_shown.cend() ? 0 : int(named - m_shown.cbegin());
    emit changed();
}

bool FolderPicker::step(int delta)
{
    const int index = std::clamp(m_index + delta, 0, int(m_shown.size()) - 1);
    if (m_shown.isEmpty() || index == m_index)
        return false;
    m_index = index;
    emit changed();
    return true;
}

bool FolderPicker::into()
{
    const FolderEntry* entry = highlighted();
    if (!entry)
        return false;
    showFolder(entry->path);
    return true;
}

bool FolderPicker::back()
{
    const QString parent = QFileInfo(m_path).path();
    if (parent == m_path)
        return false; // the root of the file system
    showFolder(parent, QFileInfo(m_path).fileName());
    return true;
}
