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

    /// What they may hold together beyond that: a dozen of the longest heads. Also bounds how many long heads
    /// can be ready to be read at once.
    static constexpr std::size_t sharedBytes = std::size_t{16} << 20;

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

        /// Says how much the connection holds now. When all together hold too much, those that hold more than
        /// a usual head are closed, the one first that has done so for longest. False when this is one of
        /// them.
        bool hold(std::size_t bytes);

      private:
        friend class Strangers;

        void share(std::size_t bytes);
        void leave();

        struct Entry {
            Place* place;
            std::function<void()> close;
        };

        Strangers& all_;
        bool taken_ = true;
        std::size_t shared_ = 0;
        std::list<Entry>::iterator entry_;
        /// Among the holders, while it holds anything of what is shared.
        std::list<Place*>::iterator holder_;
    };

  private:
    static void close(Place& place);

    const std::size_t maxCount_;
    std::size_t shared_ = 0;
    std::list<Place::Entry> closers_;
    std::list<Place*> holders_;
};

}  // namespace varkel
