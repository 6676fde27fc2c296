// Opening chunk files.
#pragma once

#include <string>

#include "io/chunked_stream.h"

namespace osmio {

/// The word that begins an uncompressed file, "NONE".
inline constexpr u32 kPlainMagic = 0x454E4F4E;

/// How OpenChunkedOutput wraps.
inline constexpr i32 kCompressionNone = 0;
inline constexpr i32 kCompressionBzip2 = 1;

/// Opens a scene file, plain or compressed, and stands before its root slot. Null if it cannot be opened or
/// begins with another magic. The caller deletes the stream.
InStreamChunked* OpenChunkedInput(const std::string& path);

/// The same for a file that begins with its root slot.
InStreamChunked* OpenChunkedInputRaw(const std::string& path);

/// Creates a file; null if it cannot. Deleting the stream closes it.
///
/// kCompressionNone writes the magic and gives a chunked stream. kCompressionBzip2 gives a compressing stream
/// on top of a chunked one: objects go into it without headers, ids and references, each mention in full, so
/// OpenChunkedInput cannot read objects back from it. Any other value gives a chunked stream without a magic.
OutStream* OpenChunkedOutput(const std::string& path, i32 compression);

/// Creates a compressed file that OpenChunkedInput reads: chunks inside, compression outside. Text followed
/// by data does not survive it. Null if the file cannot be created. The data is written when the stream is
/// deleted.
OutStream* OpenPackedOutput(const std::string& path);

}  // namespace osmio
