// What --version says: the program's version, the commit it was built from, and the versions of
// the libraries that read the evidence, as they report themselves at run time (hivex, which has
// no such call, as it was when the program was built).
#pragma once

#include <QString>

namespace kestrova {

QString versionText(const QString& program);

}  // namespace kestrova
