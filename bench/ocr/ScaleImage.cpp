// Writes an image at twice its size, which the tesseract program reads screens best at.
//
// usage: scale_image IN OUT.png
#include <cstdlib>

#include "platform/linux/vision/PixOwner.h"

int main(int count, char** arguments) {
    if (count != 3) return EXIT_FAILURE;
    const varkel::PixOwner image(pixRead(arguments[1]));
    if (!image) return EXIT_FAILURE;
    const varkel::PixOwner doubled(pixScale(image.get(), 2, 2));
    return doubled && pixWrite(arguments[2], doubled.get(), IFF_PNG) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
