// Test failures print Qt strings as text, not as lists of bytes. Forced into every test file by
// the build (-include), because GoogleTest finds PrintTo only where it is declared.
#pragma once

#include <QDate>
#include <QString>
#include <ostream>

inline void PrintTo(const QString& text, std::ostream* out) { *out << '"' << text.toStdString() << '"'; }
inline void PrintTo(QStringView text, std::ostream* out) { PrintTo(text.toString(), out); }
inline void PrintTo(const QDate& date, std::ostream* out) { *out << date.toString(Qt::ISODate).toStdString(); }
