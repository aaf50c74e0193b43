#include "ax/TreeSnapshot.h"

#include <system_error>

#include "base/BlockingPool.h"
#include "json/JSONEncoder.h"

namespace varkel {

const SharedBody& TreeSnapshot::json() const {
    std::call_once(encoded_, [this] {
        if (auto text = encodeJSON(response_)) json_ = std::make_shared<const std::string>(std::move(*text));
        isWritten_ = true;
    });
    return json_;
}

TreeSnapshotRef makeTreeSnapshot(AXElementInfo tree) {
    const auto freeOnPool = [](const TreeSnapshot* snapshot) {
        try {
            BlockingPool::shared().submit([snapshot] { delete snapshot; });
        } catch (const std::system_error&) {
            delete snapshot;
        }
    };
    return {new TreeSnapshot(std::move(tree)), freeOnPool};
}

}  // namespace varkel
