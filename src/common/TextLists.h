// Small helpers over lists of text entered by the user; any thread.
#pragma once

#include <QStringList>

namespace orel {

// Each item trimmed of white space and line ends; items left empty are dropped; order kept.
QStringList trimEachItemInArray(const QStringList &items);

} // namespace orel
