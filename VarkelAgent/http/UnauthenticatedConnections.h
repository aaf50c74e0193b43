#pragma once

#include <cstddef>
#include <functional>
#include <list>

namespace varkel {

/// The connections of one I/O thread that have not authenticated yet, in the order in which they came. Every
/// program on the machine can open such connections, so their number and what they make the agent hold are
/// bounded. Used on that thread only.
class UnauthenticatedConnections {
  public:
    /// What each may hold whatever the others do: any usual head.
    static constexpr std::size_t freeBytes = 8'192;

    /// What they may hold together beyond that: a dozen of the longest heads. Also bounds how many long heads
    /// can be ready to be read at once.
    static constexpr std::size_t sharedBytes = std::size_t{16} << 20;

    /// With more than `maxCount` connections the one that came first is closed.
    explicit UnauthenticatedConnections(std::size_t maxCount) : maxCount_(maxCount) {}
    UnauthenticatedConnections(const UnauthenticatedConnections&) = delete;
    UnauthenticatedConnections& operator=(const UnauthenticatedConnections&) = delete;

    std::size_t count() const { return closers_.size(); }

    /// A connection's slot among them, from its beginning until it has authenticated or ends.
    class Slot {
      public:
        /// `close` is called when the connection has to make room. It must not destroy the slot at once.
        Slot(UnauthenticatedConnections& all, std::function<void()> close);
        Slot(const Slot&) = delete;
        Slot& operator=(const Slot&) = delete;
        ~Slot() { leave(); }

        /// Says how much the connection holds now. When all together hold too much, those that hold more than
        /// a usual head are closed, the one first that has done so for longest. False when this is one of
        /// them.
        bool hold(std::size_t bytes);

      private:
        friend class UnauthenticatedConnections;

        void share(std::size_t bytes);
        void leave();

        struct Entry {
            Slot* slot;
            std::function<void()> close;
        };

        UnauthenticatedConnections& all_;
        bool taken_ = true;
        std::size_t shared_ = 0;
        std::list<Entry>::iterator entry_;
        /// Among the holders, while it holds anything of what is shared.
        std::list<Slot*>::iterator holder_;
    };

  private:
    static void close(Slot& slot);

    const std::size_t maxCount_;
    std::size_t shared_ = 0;
    std::list<Slot::Entry> closers_;
    std::list<Slot*> holders_;
};

}  // namespace varkel
