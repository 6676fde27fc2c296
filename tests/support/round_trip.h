// Files as bytes: to an object graph, and back.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "io/object_graph.h"
#include "io/open.h"
#include "io/serializable.h"
#include "support/om2_bytes.h"

namespace test_support {

// A file name of this process's own; what stands there goes with this object.
class TempFile {
  public:
    explicit TempFile(const std::string& suffix = ".om2") {
        static int count = 0;
        path = (std::filesystem::temp_directory_path() /
                ("osm_test_" + std::to_string(getpid()) + "_" + std::to_string(count++) + suffix))
                   .string();
    }
    ~TempFile() { std::remove(path.c_str()); }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;

    void Fill(const std::vector<u8>& bytes) const {
        std::ofstream out(path, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    std::vector<u8> Bytes() const {
        std::ifstream in(path, std::ios::binary);
        return std::vector<u8>(std::istreambuf_iterator<char>(in), {});
    }

    std::string path;
};

// The root object of a file, with all that it refers to.
struct Loaded {
    osmio::ObjectGraph graph;
    osmio::Serializable* root = nullptr;
    bool failed = false;

    template <class T>
    T* As() const {
        return dynamic_cast<T*>(root);
    }
};

inline Loaded Load(const std::vector<u8>& bytes) {
    const TempFile file;
    file.Fill(bytes);
    const std::unique_ptr<osmio::InStreamChunked> in(osmio::OpenChunkedInput(file.path));
    Loaded loaded;
    loaded.root = in->ReadObject();
    loaded.failed = in->HasFailed();
    loaded.graph = in->TakeGraph();
    return loaded;
}

inline std::vector<u8> Save(osmio::Serializable* root) {
    const TempFile file;
    const std::unique_ptr<osmio::OutStream> out(osmio::OpenChunkedOutput(file.path, osmio::kCompressionNone));
    out->WriteObject(root);
    out->Flush();
    return file.Bytes();
}

}  // namespace test_support
