#pragma once

#include <atomic>
#include <boost/describe/class.hpp>
#include <memory>
#include <mutex>
#include <utility>

#include "ax/AXElementInfo.h"
#include "http/HTTPMessage.h"

namespace varkel {

/// The body of a successful tree request.
struct TreeResponse {
    AXElementInfo tree;
};
BOOST_DESCRIBE_STRUCT(TreeResponse, (), (tree))

/// A finished tree together with its JSON text, which is written once however often the tree is sent.
/// Immutable and shared between the cache and the requests that it answers. Any thread.
class TreeSnapshot {
  public:
    explicit TreeSnapshot(AXElementInfo tree) : response_{std::move(tree)} {}
    TreeSnapshot(const TreeSnapshot&) = delete;
    TreeSnapshot& operator=(const TreeSnapshot&) = delete;

    const AXElementInfo& tree() const { return response_.tree; }

    /// The TreeResponse as JSON text, or null when the tree holds what JSON cannot represent.
    const SharedBody& json() const;

    /// Whether json() has nothing more to write.
    bool isWritten() const { return isWritten_; }

  private:
    TreeResponse response_;
    mutable std::atomic<bool> isWritten_ = false;
    mutable std::once_flag encoded_;
    mutable SharedBody json_;
};

/// The last one to let go of it may be an I/O thread.
using TreeSnapshotRef = std::shared_ptr<const TreeSnapshot>;

/// A snapshot that is freed on the pool, since a large tree takes a while.
TreeSnapshotRef makeTreeSnapshot(AXElementInfo tree);

}  // namespace varkel
