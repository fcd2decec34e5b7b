#include "links/OrelDataObject.h"

#include <QLatin1StringView>

namespace orel {

OrelDataObject::~OrelDataObject() = default;

bool OrelDataObject::contains(const QString &) const
{
    return false;
}

QString OrelDataObject::getFieldByName(const QString &) const
{
    return QString(QLatin1StringView(""));
}

float OrelDataObject::getFieldAsNumberByName(const QString &) const
{
    return 0;
}

void OrelDataObject::releaseAll() { }

bool OrelDataObject::isNumber(const QString &name)
{
    static const char *const numeric[] = {
        "distancefromhome",    "responsetime",      "loadtime",        "filesize",
        "filesizecompressed",  "imageqty",          "imageweight",     "totalocurrences",
        "ocurrencesinarchive", "validatorwarnings", "validatorerrors", "linkcount",
        "wordcount",
    };
    for (const char *n : numeric) {
        if (name == QLatin1StringView(n))
            return true;
    }
    return false;
}

} // namespace orel
