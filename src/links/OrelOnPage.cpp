#include "links/OrelOnPage.h"

#include "links/LinkCheckerUrl.h"

namespace orel {

namespace {

QString elementAt(const QStringList &list, int index)
{
    return index >= 0 && index < list.size() ? list.at(index) : QString(QLatin1String(""));
}

} // namespace

QString OrelOnPage::getFieldByName(const QString &name) const
{
    if (!m_lcurl)
        return QString(QLatin1String(""));
    if (name == QLatin1String("onpageurl"))
        return elementAt(m_lcurl->getOnPageUrlArray(), m_index);
    if (name == QLatin1String("linktext"))
        return elementAt(m_lcurl->getOnPageLinkTextArray(), m_index);
    if (name == QLatin1String("onpagename"))
        return elementAt(m_lcurl->getOnPageNameArray(), m_index);
    if (name == QLatin1String("nofollow")) {
        const QList<bool> &flags = m_lcurl->getNofollowArray();
        if (m_index < 0 || m_index >= flags.size())
            return QString(QLatin1String(""));
        return flags.at(m_index) ? QStringLiteral("Yes") : QStringLiteral("No");
    }
    return m_lcurl->getFieldByName(name);
}

float OrelOnPage::getFieldAsNumberByName(const QString &name) const
{
    return m_lcurl ? m_lcurl->getFieldAsNumberByName(name) : 0;
}

bool OrelOnPage::contains(const QString &text) const
{
    return m_lcurl && m_lcurl->contains(text);
}

int OrelOnPage::getColour() const
{
    return m_lcurl ? m_lcurl->getColour() : 0;
}

} // namespace orel
