// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

/// The least that a program does for the frames of GigE cameras: one loop of Aravis for each, which takes a
/// frame from the stream and gives it back, on a thread of its own. What anything above it costs is measured
/// against this. One thread.
class BareStreams {
public:
    /// A whole frame has come; Bayer or grey pixels, on the camera's thread.
    using Arrived = std::function<void(int camera, const uint8_t* pixels, int width, int height)>;

    /// `packet`: bytes of a packet; `buffer`: bytes of the socket's.
    BareStreams(const std::vector<const char*>& addresses, int packet, int buffer, Arrived arrived);
    /// Ends all.
    ~BareStreams();
    BareStreams(const BareStreams&) = delete;
    BareStreams& operator=(const BareStreams&) = delete;

    bool areRunning() const;
    /// Frames that were not whole, so far.
    int incomplete() const;

private:
    struct Stream;
    std::vector<std::unique_ptr<Stream>> streams_;
};
