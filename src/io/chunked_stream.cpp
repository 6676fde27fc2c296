#include "io/chunked_stream.h"

#include <memory>

#include "io/chunk_walk.h"
#include "io/registry.h"
#include "trace/tracer.h"

namespace osmio {
namespace {

constexpr u32 kReferenceBit = 0x80000000u;

int Character(u32 fourcc, int index) { return static_cast<int>(fourcc >> (8 * index) & 0xff); }

}  // namespace

void OutStreamChunked::BeginChunk(u32 fourcc, u32 version) {
    if (fourcc & kReferenceBit) {
        trace::Box("Bad Chunk : %c, %c, %c, %c", Character(fourcc, 0), Character(fourcc, 1),
                   Character(fourcc, 2), Character(fourcc, 3));
    } else {
        trace::Trace("Store Chunk : %c%c%c%c, Version : %d", Character(fourcc, 0), Character(fourcc, 1),
                     Character(fourcc, 2), Character(fourcc, 3), static_cast<int>(version));
    }
    currentFourCC = fourcc;
    currentVersion = version;
    inner->WriteU32(currentFourCC);
    inner->WriteU16(static_cast<u16>(currentVersion));
    inner->WriteU16(static_cast<u16>(currentId));
    sizeFields.push_back(inner->Tell());
    inner->WriteI32(-1);
}

void OutStreamChunked::WriteObject(Serializable* object) {
    if (!object) {
        inner->WriteU32(0);
        return;
    }
    const auto [entry, isNew] = objectIds.try_emplace(object, static_cast<u16>(nextId));
    if (!isNew) {
        inner->WriteU32(kReferenceBit | entry->second);
        return;
    }
    currentId = entry->second;
    ++nextId;
    const std::size_t openChunks = sizeFields.size();
    object->Write(this);
    if (sizeFields.size() == openChunks) return;
    const u32 sizeField = sizeFields.back();
    sizeFields.pop_back();
    inner->PatchU32(sizeField, inner->Tell() - sizeField - 4);
}

u32 InStreamChunked::GetChunkId() { return headers.empty() ? 0 : static_cast<u32>(headers.back().word); }

u32 InStreamChunked::GetChunkVersion() { return headers.empty() ? 0 : headers.back().version; }

void InStreamChunked::PushChunk() { headers.push_back({}); }

void InStreamChunked::PopChunk() {
    if (!headers.empty()) headers.pop_back();
}

i32 InStreamChunked::ReadChunkHeader() {
    Header& header = headers.back();
    inner->ReadI32(&header.word);
    if (header.word == 0) return 0;
    if (header.word < 0) {
        currentId = static_cast<u16>(header.word & 0xffff);
        return 2;
    }
    inner->ReadU16(&header.version);
    inner->ReadU16(&currentId);
    inner->ReadU32(&bodySize);
    return 1;
}

Serializable* InStreamChunked::ReadObject() {
    const i32 offset = inner->Tell();
    PushChunk();
    Serializable* object = nullptr;
    switch (ReadChunkHeader()) {
        case 0:
        case 2: {
            const bool isReference = headers.back().word != 0;
            if (isReference && currentId < objects.size()) object = objects[currentId];
            if (observer) {
                const ChunkEvent event{isReference ? ChunkEvent::Kind::kReference : ChunkEvent::Kind::kNull,
                                       offset,
                                       0,
                                       0,
                                       0,
                                       isReference ? u32{currentId} : 0,
                                       static_cast<u32>(headers.size() - 1)};
                observer->BeginSlot(event);
                observer->EndSlot(event, inner->Tell(), object);
            }
            break;
        }
        default:
            object = ReadBody(offset);
    }
    PopChunk();
    return object;
}

Serializable* InStreamChunked::ReadBody(i32 offset) {
    const u32 fourcc = static_cast<u32>(headers.back().word);
    const u32 version = headers.back().version;
    const u32 size = bodySize;
    CRSerializable* registrar = FindChunkRegistrer(fourcc);
    const bool tooDeep = headers.size() > kMaxNesting;

    ChunkEvent event{ChunkEvent::Kind::kChunk,
                     offset,
                     fourcc,
                     version,
                     size,
                     currentId,
                     static_cast<u32>(headers.size() - 1)};
    if (tooDeep) {
        event.kind = ChunkEvent::Kind::kTooDeep;
    } else if (!registrar) {
        event.kind = ChunkEvent::Kind::kUnknownChunk;
    }
    if (observer) observer->BeginSlot(event);

    Serializable* object = nullptr;
    if (registrar && !tooDeep) {
        object = registrar->ReadChunk(this);
        if (object) graph.Add(std::unique_ptr<Serializable>(object));
    } else {
        if (tooDeep) {
            Fail("objects nest more than " + std::to_string(kMaxNesting) + " deep");
        } else {
            Note("no class reads this chunk");
            trace::Box("OSMIO : Unknown chunk read : %c%c%c%c, version : %d, size : %d", Character(fourcc, 0),
                       Character(fourcc, 1), Character(fourcc, 2), Character(fourcc, 3),
                       static_cast<int>(version), static_cast<int>(size));
        }
        const u32 left = inner->Remaining();
        if (size <= left) {
            inner->Skip(static_cast<i32>(size));
        } else {
            // Never backwards: what was read once is not read again.
            Fail("claims a body of " + std::to_string(size) + " bytes where " + std::to_string(left) +
                 " follow");
            inner->Skip(static_cast<i32>(left));
        }
    }
    if (observer) observer->EndSlot(event, inner->Tell(), object);
    return object;
}

bool InStreamChunked::ReadObjectInto(Serializable* object) {
    if (currentId >= objects.size()) objects.resize(currentId + std::size_t{1});
    objects[currentId] = object;
    const bool read = object->Read(this);
    if (!read) Note("its class refuses this record");
    return read;
}

void InStreamChunked::Note(const std::string& reason) {
    if (!firstError.empty()) return;
    firstError = "at byte " + std::to_string(inner->Tell());
    if (!headers.empty() && headers.back().word > 0) {
        firstError += ", in chunk " + FourCCText(static_cast<u32>(headers.back().word)) + " version " +
                      std::to_string(headers.back().version);
    }
    firstError += ": " + reason;
}

void InStreamChunked::Fail(const std::string& reason) {
    failed = true;
    Note(reason);
}

std::string InStreamChunked::GetError() {
    if (!firstError.empty()) return firstError;
    if (inner->IsExhausted()) return "the file ends too early";
    return {};
}

ObjectGraph InStreamChunked::TakeGraph() { return std::exchange(graph, {}); }

}  // namespace osmio
