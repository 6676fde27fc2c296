// What the recording device keeps: the calls that it was given, the faults that it saw, and how it presents
// itself as an adapter.
#pragma once

#include <initializer_list>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/d3d9/d3d9.h"
#include "platform/types.h"

namespace support {

/// One call. Integers, flags and enumerations stand in `args` in their order; an interface stands there as
/// its id (Recorder::IdOf), null as 0. Float data (matrices, planes, lights) stands in `floats`.
struct Call {
    std::string_view name;
    std::vector<i64> args;
    std::vector<f32> floats;
    std::vector<u8> vertices;  ///< of a draw: the bytes of the vertices that it reads, from the first on
    std::vector<u32> indices;  ///< of an indexed draw
    bool redundant = false;    ///< sets what the device held already

    /// "SetRenderState(27, 1)"; floats follow the arguments.
    std::string Text() const;
};

/// How the device acts, beside what it presents.
struct DeviceOptions {
    bool keep_calls = true;
    /// Each lock gives a heap block of exactly its size, filled with rubbish where the old content is given
    /// up, so that a sanitizer sees every step outside. Costs an allocation a lock.
    bool exact_locks = false;
    /// A fault aborts the process, for fuzzing; otherwise it is kept in `faults`.
    bool abort_on_fault = false;
};

/// For mutation tests: nothing kept, every overrun caught.
inline constexpr DeviceOptions kNullDevice{false, true, true};

/// What the adapter and its devices claim and refuse.
struct AdapterModel {
    AdapterModel();

    D3DCAPS9 caps;
    D3DFORMAT desktop = D3DFMT_X8R8G8B8;
    std::vector<D3DDISPLAYMODE> modes;
    std::set<D3DFORMAT> refused_formats;         ///< by CheckDeviceFormat
    std::set<D3DMULTISAMPLE_TYPE> sample_types;  ///< granted beside none
    DWORD sample_levels = 1;                     ///< quality levels of those
    DWORD refused_behaviour = 0;    ///< CreateDevice fails when the behaviour has one of these flags
    bool missing = false;           ///< there is no Direct3D at all
    bool refuse_resources = false;  ///< every creation of a resource fails
};

/// Totals, kept whether or not calls are.
struct Totals {
    u64 draws = 0;
    u64 primitives = 0;
    u64 state_sets = 0;  ///< render, texture stage and sampler states
    u64 redundant_state_sets = 0;
    u64 redundant_sets = 0;  ///< of any kind: the above, transforms, textures, streams, materials, ...
    u64 locks = 0;
    u64 presents = 0;
};

class Recorder {
  public:
    explicit Recorder(const DeviceOptions& options_) : options(options_) {}

    const std::vector<Call>& Calls() const { return calls_; }
    void Clear();

    std::vector<Call> Named(std::string_view name) const;
    /// Text() of every call, or of the calls with these names.
    std::vector<std::string> Texts(std::initializer_list<std::string_view> names = {}) const;
    /// Calls of this name whose arguments begin with `args`.
    std::size_t Count(std::string_view name, std::initializer_list<i64> args = {}) const;

    /// The id of a live object of this recorder's devices; 0 for null and for anything else.
    u32 IdOf(const void* interface) const;
    /// What a live vertex or index buffer holds.
    std::span<const u8> Contents(const void* buffer) const;

    /// Objects made and not yet gone, devices and Direct3D objects included.
    std::size_t LiveObjects() const { return ids_.size(); }

    const DeviceOptions options;
    AdapterModel adapter;
    Totals totals;
    std::vector<std::string>
        faults;  ///< misuse: a lock or draw outside a buffer, a draw outside a scene, ...

    // ---- for the device
    Call* Add(std::string_view name, std::initializer_list<i64> args);
    void Fault(const std::string& what);
    u32 Register(const void* interface);
    void RegisterContents(const void* interface, const std::vector<u8>* bytes);
    void Unregister(const void* interface);

  private:
    std::vector<Call> calls_;
    std::unordered_map<const void*, u32> ids_;
    std::unordered_map<const void*, const std::vector<u8>*> contents_;
    u32 next_id_ = 1;
};

}  // namespace support
