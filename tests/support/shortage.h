// SPDX-License-Identifier: Apache-2.0
#pragma once

/// A system that is out of something, for a test program that is linked to bivista_test_shortage. While one
/// of these lives there is none of it; one at a time. Linux only.
namespace shortage {

/// No thread can be started, by std::thread or otherwise, on any thread. Those that run go on.
class Threads {
public:
    Threads();
    ~Threads();
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;
};

/// On the thread that made it, operator new of single objects throws, or with std::nothrow gives none; what C
/// libraries and Qt's containers take is given, and under the address sanitizer arrays.
class News {
public:
    News();
    ~News();
    News(const News&) = delete;
    News& operator=(const News&) = delete;
};

}  // namespace shortage
