#include "links/ConnectionDelegate.h"

namespace orel {

ConnectionDelegate::~ConnectionDelegate() = default;

} // namespace orel
