#include "ax/ChangeCounter.h"

#include "ax/AXTreeCache.h"

namespace varkel {

ChangeCounter& globalChangeCounter() {
    static ChangeCounter counter;
    return counter;
}

void axBumpChangeCounter() {
    globalChangeCounter().increment();
    AXTreeCache::shared().invalidateAll();
}

}  // namespace varkel
