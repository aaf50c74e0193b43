#pragma once

#include <cstddef>
#include <functional>
#include <list>

namespace varkel {

/// The connections of one I/O thread whose callers have not shown the token, in the order in which they came.
/// Anybody on the machine can open such connections, so their number and what they make the agent hold are
/// bounded. Used on that thread only.
class Strangers {
  public:
    /// What each may hold whatever the others do: any usual head.
    static constexpr std::size_t freeBytes = 8'192;

    /// What they may hold together beyond that. Also bounds how many long heads can be ready to be read at
    /// once.
    static constexpr std::size_t sharedBytes = std::size_t{8} << 20;

    /// With more than `maxCount` connections the one that came first is closed.
    explicit Strangers(std::size_t maxCount) : maxCount_(maxCount) {}
    Strangers(const Strangers&) = delete;
    Strangers& operator=(const Strangers&) = delete;

    std::size_t count() const { return closers_.size(); }

    /// A connection's place among them, from its beginning until its caller has shown the token or it ends.
    class Place {
      public:
        /// `close` is called when the connection has to make room. It must not destroy the place at once.
        Place(Strangers& all, std::function<void()> close);
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;
        ~Place() { leave(); }

        /// Says how much the connection holds now. False when that is too much: the connection must end.
        bool hold(std::size_t bytes);

      private:
        friend class Strangers;

        void leave();

        struct Entry {
            Place* place;
            std::function<void()> close;
        };

        Strangers& all_;
        bool taken_ = true;
        std::size_t shared_ = 0;
        std::list<Entry>::iterator entry_;
    };

  private:
    void closeFirst();

    const std::size_t maxCount_;
    std::size_t shared_ = 0;
    std::list<Place::Entry> closers_;
};

}  // namespace varkel
