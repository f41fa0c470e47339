// What the trace sources share when they call the libyal libraries (liblnk, libolecf, libscca,
// libesedb, libfwsi, libfsntfs): a file opened by name and closed and freed when it goes, the
// handles they give freed when they go, the libraries' pairs of text getters read into a QString,
// and their errors in their own words. The libraries spell every function alike
// (prefix_file_initialize, _open, _close, _free; _get_utf8_X_size and _get_utf8_X), so one piece
// of code serves them all.
#pragma once

#include <QByteArray>
#include <QString>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace kestrova {

template <typename File, typename Error>
struct LibyalCloser {
    int (*close)(File*, Error**);
    int (*free)(File**, Error**);
    void operator()(File* file) const {
        close(file, nullptr);
        free(&file, nullptr);
    }
};
template <typename File, typename Error>
using LibyalFile = std::unique_ptr<File, LibyalCloser<File, Error>>;

// A handle the library frees with its prefix_X_free(&handle, error) (an item, a record, a table):
// LibyalHandle<libesedb_record_t, libesedb_error_t, libesedb_record_free>.
template <typename Handle, typename Error, int (*Free)(Handle**, Error**)>
struct LibyalFree {
    void operator()(Handle* handle) const { Free(&handle, nullptr); }
};
template <typename Handle, typename Error, int (*Free)(Handle**, Error**)>
using LibyalHandle = std::unique_ptr<Handle, LibyalFree<Handle, Error, Free>>;

// The file of that name opened for reading through a library's functions; nullptr, with nothing
// left allocated, when the library cannot be started or does not take the file.
template <typename File, typename Error>
LibyalFile<File, Error> openLibyal(const QByteArray& name, int (*initialize)(File**, Error**),
                                   int (*open)(File*, const char*, int, Error**), int (*close)(File*, Error**),
                                   int (*free)(File**, Error**), int readFlag) {
    File* raw = nullptr;
    if (initialize(&raw, nullptr) != 1) return LibyalFile<File, Error>(nullptr, {close, free});
    if (open(raw, name.constData(), readFlag, nullptr) != 1) {
        free(&raw, nullptr);
        return LibyalFile<File, Error>(nullptr, {close, free});
    }
    return LibyalFile<File, Error>(raw, {close, free});
}

// A libyal text getter pair (..._get_utf8_X_size and ..._get_utf8_X) read into a QString; ""
// when the library has none, fails, or gives an implausible size.
template <typename Handle, typename SizeFn, typename TextFn>
QString libyalText(Handle* handle, SizeFn sizeFn, TextFn textFn) {
    size_t size = 0;
    if (sizeFn(handle, &size, nullptr) != 1 || size == 0 || size > 65536) return QString();
    QByteArray buffer(static_cast<qsizetype>(size), '\0');
    if (textFn(handle, reinterpret_cast<uint8_t*>(buffer.data()), size, nullptr) != 1) return QString();
    return QString::fromUtf8(buffer.constData());
}

// A libyal error's last line (the library's own words, "unable to read page ..."), the error freed;
// "" when there is none. Each library spells the pair alike: prefix_error_sprint, prefix_error_free.
template <typename Error, typename FreeResult>
QString libyalError(Error** error, int (*sprint)(Error*, char*, size_t), FreeResult (*free)(Error**)) {
    if (!error || !*error) return QString();
    char text[2048] = {};
    sprint(*error, text, sizeof text);
    free(error);
    // The library stacks its messages, innermost first, a line each: the first says what broke.
    QString first = QString::fromUtf8(text).section(QLatin1Char('\n'), 0, 0).trimmed();
    const qsizetype colon = first.indexOf(QStringLiteral(": "));
    return colon > 0 ? first.mid(colon + 2) : first;  // without the function's name
}

}  // namespace kestrova
