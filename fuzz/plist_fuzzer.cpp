// Feeds arbitrary bytes to the property-list reader.
#include "common/Plist.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *input, size_t size)
{
    QString error;
    const auto value = orel::Plist::read(
            QByteArray(reinterpret_cast<const char *>(input), static_cast<qsizetype>(size)),
            &error);
    if (!value && error.isEmpty())
        __builtin_trap(); // a refusal always says why
    return 0;
}
