#include "core/readers/browsers/database_reader.h"

#include "core/time/mod_covert.h"

namespace kestrova {

MSQLite sqliteFor(const SourceContext& src) {
    return MSQLite(src.os.system().sqliteEngine(), src.os.desktop().programFolder(), &src.findings);
}

bool openDatabase(MSQLite& sql, const QString& path) {
    if (sql.LoadEngine(QString()) == sqlitecode::Ok && sql.DbOpen(path, &sql.db) == sqlitecode::Ok) return true;
    sql.DbClose(sql.db);
    sql.ShutdownEngine();
    return false;
}

void closeDatabase(MSQLite& sql) {
    sql.DbFinalize(sql.statement);
    sql.DbClose(sql.db);
    sql.ShutdownEngine();
}

QString ListSubfolders(const SourceContext& src, const QString& folder) {
    QString list;
    for (const DirEntry& entry : src.os.system().listFolder(withBackslash(folder))) {
        if (entry.isDotEntry()) continue;
        // A folder that also carries the archive bit, or any other attribute, is not counted:
        // the test has always been this exact one.
        if (entry.inFolderRange() || entry.attributes == 8208) {
            list += entry.name + QLatin1Char(',');
        }
    }
    return list;
}

QString FirefoxProfileFolder(const SourceContext& src) {
    const QString base = src.os.GetShellFolder(QStringLiteral("AppData")) + QStringLiteral("\\Mozilla\\Firefox\\Profiles\\");
    const QString first = ListSubfolders(src, base).section(QLatin1Char(','), 0, 0);
    // With no profile the path names no database; the categories stay empty.
    return first.isEmpty() ? QString() : base + first;
}

QString ChromeProfileFolder(const SourceContext& src) { return src.os.ChromeFolder(); }

QString numberText(const QString& text) { return QString::number(leadingNumber(text), 'g', 15); }

QString withBlanks(QString text) { return text.replace(QLatin1String("%20"), QLatin1String(" ")); }

}  // namespace kestrova
