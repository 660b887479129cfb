#include "state/filters.h"

#include "model/filenode.h"

void Filters::setSearchFocused(bool focused)
{
    assign(m_searchFocused, focused, &Filters::searchFocusedChanged);
}

void Filters::setSearchText(const QString& text)
{
    if (text == m_searchText)
        return;
    m_searchText = text;
    emit searchTextChanged();
    filterChanged();
}

void Filters::setSearchInText(bool inText)
{
    assign(m_searchInText, inText, &Filters::searchInTextChanged);
}

void Filters::setMinChanges(int changes)
{
    if (changes == m_minChanges)
        return;
    m_minChanges = changes;
    emit minChangesChanged();
    filterChanged();
}

void Filters::toggleIsolation(const QString& relativePath)
{
    if (!m_isolated.remove(relativePath))
        m_isolated.insert(relativePath);
    emit isolatedChanged();
    filterChanged();
}

void Filters::clearIsolation()
{
    if (m_isolated.isEmpty())
        return;
    m_isolated.clear();
    emit isolatedChanged();
    filterChanged();
}

bool Filters::hasFilters() const
{
    return !m_searchText.isEmpty() || !m_isolated.isEmpty() || m_minChanges > 0;
}

void Filters::clearFilters()
{
    if (!hasFilters())
        return;
    m_suspendFilter = true;
    setSearchText({});
    assign(m_isolated, {}, &Filters::isolatedChanged);
    setMinChanges(0);
    m_suspendFilter = false;
    emit filtersChanged();
}

void Filters::filterChanged()
{
    if (!m_suspendFilter)
        emit filtersChanged();
}

qint64 Filters::changeCeiling() const
{
    return m_root ? m_root->changeCeiling() : 0;
}

void Filters::folderChanged(const OpenFolder& folder)
{
    m_root = folder.root.get();
    m_suspendFilter = true;
    setSearchText({});
    assign(m_isolated, {}, &Filters::isolatedChanged);
    m_suspendFilter = false;
}
