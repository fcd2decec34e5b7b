#include "links/OrelOnPage.h"

#include "links/LinkCheckerUrl.h"

namespace orel {

QString OrelOnPage::getFieldByName(const QString &name) const
{
    if (!m_lcurl)
        return QString(QLatin1String(""));
    if (name == QLatin1String("onpageurl"))
        return m_lcurl->onPageUrlAt(m_index);
    if (name == QLatin1String("linktext"))
        return m_lcurl->onPageLinkTextAt(m_index);
    if (name == QLatin1String("onpagename"))
        return m_lcurl->onPageNameAt(m_index);
    if (name == QLatin1String("nofollow")) {
        if (m_index < 0 || m_index >= m_lcurl->getNofollowCount())
            return QString(QLatin1String(""));
        return m_lcurl->nofollowAt(m_index) ? QStringLiteral("Yes") : QStringLiteral("No");
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
