#include "traces/sql_rows.h"

namespace kestrova {

void noteSchema(const TraceContext& context, const QString& path, const QString& why) {
    context.note(FindingKind::SchemaDiffers, QStringLiteral("database ") + path, why);
}

}  // namespace kestrova
