// The outermost bytes of an .om2 file: plain ("NONE") and packed ("IOBZ") forms; those of a loadable
// animation, which begins with its root object.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tools {

using Bytes = std::vector<std::uint8_t>;

enum class Form { Plain, Packed, Animation };

struct Envelope {
    Form form = Form::Plain;
    std::size_t stored_size = 0;  // of the file
    Bytes objects;                // the root object's slot onward, unpacked
};

// Reads a whole file. Throws cli::Error when it cannot be read, is of no form, or its packed data is
// broken.
Envelope ReadEnvelope(const std::string& path);

// The bytes of a file in `form`, plain or packed, that holds `objects`.
Bytes MakeEnvelope(Form form, const Bytes& objects);

// Writes beside `path`, then renames: the file is whole or not there. Throws cli::Error when it cannot be
// written.
void WriteWhole(const std::string& path, const Bytes& bytes);

}  // namespace tools
