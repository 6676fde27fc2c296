// What one file made, owned as a whole.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "io/serializable.h"

namespace osmio {

/// Owns every object that the reading of one file made, whatever refers to it, and deletes them together.
/// The order is unspecified: no destructor may touch an object that it does not own.
class ObjectGraph {
  public:
    ObjectGraph() = default;
    ObjectGraph(ObjectGraph&&) noexcept = default;
    ObjectGraph& operator=(ObjectGraph&&) noexcept = default;

    void Add(std::unique_ptr<Serializable> object) { objects.push_back(std::move(object)); }
    std::size_t Size() const { return objects.size(); }
    void Clear() { objects.clear(); }

    /// In the order in which their reading ended: an object stands behind those that it contains.
    const std::vector<std::unique_ptr<Serializable>>& Objects() const { return objects; }

  private:
    std::vector<std::unique_ptr<Serializable>> objects;
};

}  // namespace osmio
