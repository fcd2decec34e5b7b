// Application preferences (user defaults) over QSettings; main thread.
#pragma once

#include <QString>
#include <QVariant>

namespace orel {

// Keys of the user defaults, spelt as the program has always spelt them.
namespace DefaultsKey {
inline constexpr char TotalLinks[] = "OrrelwickTotalLinks";
inline constexpr char TotalBadLinks[] = "OrrelwickTotalBadLinks";
inline constexpr char TotalWhenLastCongratulated[] = "OrrelwickTotalWhenLastCongratulated";
inline constexpr char AlertOnFinish[] = "TilleryAlertOnFinish";
inline constexpr char InspectOnFinish[] = "TilleryInspectOnFinish";
inline constexpr char UserAgentString[] = "userAgentString";
inline constexpr char SEOCountKeywordsInContent[] = "SEOCountKeywordsInContent";
inline constexpr char DrawerOpen[] = "OrrelwickDrawerOpen";
inline constexpr char IconView[] = "iconView";
} // namespace DefaultsKey

// When $ORRELWICK_HOME is set the defaults live in the hidden file ".defaults.ini" of that folder
// (so tests never touch the real ones); otherwise in the native QSettings store of "Orrelwick".
class UserDefaults
{
public:
    static QVariant value(const QString &key, const QVariant &fallback = {});
    static bool contains(const QString &key);
    static void setValue(const QString &key, const QVariant &value);
    static void remove(const QString &key);
    static double doubleValue(const QString &key); // 0 when absent
    static bool boolValue(const QString &key); // NO when absent
    static void sync();
};

} // namespace orel
