#include "reports/TableDescription.h"

namespace orel {

TableDescription::~TableDescription() = default;

} // namespace orel
