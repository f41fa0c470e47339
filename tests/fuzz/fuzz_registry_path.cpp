// A full registry path as any text: the root name is split off and looked up without fault.
#include <cstdint>

#include "core/registry/reg_api.h"

namespace {
class NoKeys : public kestrova::RegistryBackend {
public:
    std::unique_ptr<kestrova::RegistryKey> openKey(kestrova::RootKey, const QString&) const override { return nullptr; }
};
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString path = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const NoKeys backend;
    const kestrova::RegApi reg(backend);
    (void)reg.ReadBinary(path, QStringLiteral("MRUListEx"));
    (void)kestrova::rootKeyFromShortName(path.left(4));
    return 0;
}
