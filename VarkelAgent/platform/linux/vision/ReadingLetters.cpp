#include "platform/linux/vision/ReadingLetters.h"

namespace varkel {

std::vector<Letter> lettersOf(const std::string& text) {
    std::vector<Letter> letters;
    bool blank = false;
    for (std::size_t i = 0; i < text.size();) {
        std::size_t end = i + 1;
        while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) ++end;
        if (text[i] == ' ') {
            blank = true;
        } else {
            letters.push_back({text.substr(i, end - i), blank && !letters.empty(), 0, 1});
            blank = false;
        }
        i = end;
    }
    return letters;
}

std::string textOf(const std::vector<Letter>& letters) {
    std::string text;
    for (const Letter& letter : letters) {
        if (letter.blankBefore) text += ' ';
        text += letter.text;
    }
    return text;
}

bool isDigit(const Letter& letter) {
    return letter.text.size() == 1 && letter.text[0] >= '0' && letter.text[0] <= '9';
}

bool isSmallLetter(const Letter& letter) {
    return letter.text.size() == 1 && letter.text[0] >= 'a' && letter.text[0] <= 'z';
}

bool isLetter(const Letter& letter) {
    return isAlphanumeric(letter) && !isDigit(letter) && !letter.isOneOf({"x", "O", "Q"});
}

bool isAlphanumeric(const Letter& letter) {
    return isDigit(letter) || isSmallLetter(letter) ||
           (letter.text.size() == 1 && letter.text[0] >= 'A' && letter.text[0] <= 'Z');
}

bool isPunctuation(const Letter& letter) {
    return letter.isOneOf({".", ":", "_", "-", "/", "#", "@"});
}

}  // namespace varkel
