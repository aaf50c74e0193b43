// Posts the mouse events that its input asks for, one line each: "click X Y", "press X Y",
// "release X Y", "scroll X Y VERTICAL HORIZONTAL". Answers each line with "done".

#include <iostream>
#include <sstream>
#include <string>

#include "platform/linux/session/Session.h"

using namespace varkel;

int main() {
    AtspiBus bus;
    const Session session = openSession(bus);
    EventPoster& poster = *session.events;
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string what;
        CGPoint point;
        int vertical = 0;
        int horizontal = 0;
        words >> what >> point.x >> point.y;
        if (what == "click") {
            for (const auto type :
                 {CGEventType::mouseMoved, CGEventType::leftMouseDown, CGEventType::leftMouseUp}) {
                poster.CGEventPost(*poster.CGEventCreateMouseEvent(type, point, CGMouseButton::left));
            }
        } else if (what == "press" || what == "release") {
            const auto type = what == "press" ? CGEventType::leftMouseDown : CGEventType::leftMouseUp;
            poster.CGEventPost(*poster.CGEventCreateMouseEvent(type, point, CGMouseButton::left));
        } else if (what == "scroll") {
            words >> vertical >> horizontal;
            poster.CGEventPost(*poster.CGEventCreateScrollWheelEvent(point, vertical, horizontal));
        }
        std::cout << "done" << std::endl;
    }
}
