// One tag read by OrelParser::getTag(): its text between "<" and ">" and whether it closes;
// used on the parser's thread.
#pragma once

#include <QString>

namespace orel {

class OrelXmlTag
{
public:
    void setData(const QString &text) { data = text; }
    const QString &getData() const { return data; }
    void setClosing(bool closing) { closingTag = closing; }
    bool isClosing() const { return closingTag; }
    // True when the tag text holds text, compared without regard to case.
    bool contains(const QString &text) const { return data.contains(text, Qt::CaseInsensitive); }
    // True when the whole tag text equals text without regard to case.
    bool is(const QLatin1StringView text) const
    {
        return data.compare(text, Qt::CaseInsensitive) == 0;
    }
    void curlUpAndDie() { data.clear(); }

private:
    QString data;
    bool closingTag = false;
};

} // namespace orel
