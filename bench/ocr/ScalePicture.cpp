// Writes a picture at twice its size, which the tesseract program reads screens best at.
//
// usage: scale_picture IN OUT.png
#include <cstdlib>

#include "platform/linux/vision/PixOwner.h"

int main(int count, char** arguments) {
    if (count != 3) return EXIT_FAILURE;
    const varkel::PixOwner picture(pixRead(arguments[1]));
    if (!picture) return EXIT_FAILURE;
    const varkel::PixOwner doubled(pixScale(picture.get(), 2, 2));
    return doubled && pixWrite(arguments[2], doubled.get(), IFF_PNG) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
