// Compressed streams, which work on whole buffers.
#pragma once

#include <vector>

#include "io/composite_stream.h"

namespace osmio {

/// The word that begins a compressed block, "IOBZ".
inline constexpr u32 kCompressedMagic = 0x5A424F49;

/// Decompresses a block at construction, then reads like an InStreamMemory, whose rule for strings it has.
///
/// The block stands behind its magic: i32 size of the data, i32 size of the compressed data, the latter. Data
/// that bzip2 refuses is followed by zeros up to its size. Memory is bounded by what the source holds: data
/// is taken up to kMaxRatio times the compressed size plus kFreeBytes, and zeros up to as much as was
/// decompressed plus kFreeBytes; beyond, the data just ends, and IsDamaged tells.
class InStreamBzip2 : public InStreamComposite {
  public:
    static constexpr u64 kMaxRatio = 4096;
    static constexpr u64 kFreeBytes = 1 << 20;

    /// With `ownsSource`, `source` is deleted before the constructor returns; it is not needed afterwards.
    InStreamBzip2(InStream* source, bool ownsSource);
    ~InStreamBzip2() override;

    /// Whether the block was cut short, refused by bzip2, or not of the size that it claims.
    bool IsDamaged() const { return damaged; }

  private:
    std::vector<u8> buffer;
    bool damaged = false;
};

/// Gathers everything in memory, like an OutStreamMemory, and writes it compressed when it is destroyed: the
/// magic, the sizes, the data. Nothing is written if the target is not open then.
class OutStreamBzip2 : public OutStreamComposite {
  public:
    /// With `owns` the destructor deletes `out` at its end.
    OutStreamBzip2(OutStream* out, bool owns);
    ~OutStreamBzip2() override;

    bool IsOpen() override { return target->IsOpen(); }

  private:
    OutStream* target;
    bool ownsTarget;
};

}  // namespace osmio
