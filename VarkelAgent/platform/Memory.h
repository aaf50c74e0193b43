#pragma once

namespace varkel {

/// Has large blocks go back to the system when they are freed, and threads share a few heaps. Called before
/// other threads exist.
void keepMemorySmall();

/// Gives memory that was freed back to the system where the allocator keeps it. Takes milliseconds. Any
/// thread.
void releaseFreeMemory();

}  // namespace varkel
