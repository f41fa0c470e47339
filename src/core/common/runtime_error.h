// A run-time error raised inside a reader step (an overflowing date, a bad index into a split
// text). Readers decide per step whether such an error is skipped or ends the reader, exactly as
// their category prescribes; nothing below them catches it.
#pragma once

#include <stdexcept>
#include <string>

namespace kestrova {

class RuntimeError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace kestrova
