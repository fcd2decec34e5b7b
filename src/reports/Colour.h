// A colour as the views and the HTML renderers use it (components 0..1); any thread.
#pragma once

#include <QMetaType>

namespace orel {

// Plain value type so that the core needs no GUI module; the GUI converts to and from QColor.
struct Colour
{
    double r = 0.0;
    double g = 0.0;
    double b = 0.0;
    double a = 1.0;

    friend bool operator==(const Colour &, const Colour &) = default;
};

} // namespace orel

// Carried in a QVariant by the item models (see FlatListModel).
Q_DECLARE_METATYPE(orel::Colour)
