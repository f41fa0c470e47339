// ModCovert: the Firefox time text and the locale class the MRU decoders choose their text
// conversion by.
#pragma once

#include <QAnyStringView>
#include <QLocale>
#include <QString>
#include <cstdint>

#include "core/time/mod_time_stamp.h"

namespace kestrova {

class ModCovert {
public:
    explicit ModCovert(const ModTimeStamp& stamps) : stamps_(stamps) {}
    // Decimal microseconds since 1970 UTC to the local general date text; "" for 0 or for text
    // that does not start with a number.
    // A reader converting a column of many rows passes the locale it took once.
    QString PRTimeToText(QAnyStringView text, const QLocale& locale = QLocale()) const;
    // "jan" for Japanese, "asia" for the Chinese and Korean locales, "en" for everything else.
    static QString SystemLocaleClass(uint32_t localeId);

private:
    const ModTimeStamp& stamps_;
};

// The numeric value of the number a text begins with, 0 when it begins with none (leading blanks
// are passed over; a sign, a fraction and an exponent are read).
double leadingNumber(QAnyStringView text);

}  // namespace kestrova
