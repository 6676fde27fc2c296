// What a stored class derives from.
#pragma once

#include "platform/types.h"

namespace osmio {

class InStream;
class OutStream;

/// Four characters as the word that names a chunk; the first character is the lowest byte.
constexpr u32 FourCC(const char (&tag)[5]) {
    return static_cast<u32>(static_cast<u8>(tag[0])) | static_cast<u32>(static_cast<u8>(tag[1])) << 8 |
           static_cast<u32>(static_cast<u8>(tag[2])) << 16 | static_cast<u32>(static_cast<u8>(tag[3])) << 24;
}

/// An object that a stream can hold.
///
/// Destroying one never touches an object that it refers to and does not own: what a file made is destroyed
/// by its ObjectGraph in any order.
class Serializable {
  public:
    Serializable() = default;
    Serializable(const Serializable&) = default;
    Serializable& operator=(const Serializable&) = default;

    /// Reads the body of the chunk, without its header. False when the stored version is not accepted or a
    /// count cannot be true; what was not read keeps the constructor's value, and the stream is then out of
    /// place.
    virtual bool Read(InStream* in) = 0;

    /// Calls `out->BeginChunk` with the class's FourCC and version, then writes the body.
    virtual void Write(OutStream* out) = 0;

    virtual ~Serializable() = default;
};

}  // namespace osmio
