#pragma once

#include <leptonica/allheaders.h>

#include <memory>

namespace varkel {

struct PixDestroyer {
    void operator()(Pix* pix) const { pixDestroy(&pix); }
};

/// The one owner of a Leptonica image.
using PixOwner = std::unique_ptr<Pix, PixDestroyer>;

}  // namespace varkel
