// What following costs, against pyramidal Lucas-Kanade.
#pragma once

#include <cstddef>
#include <string>

#include "subjects.h"

namespace remora::bench {

// Milliseconds a frame, of pictures in memory: followed with trust, lost, and never found.
std::string timingTable();

// Milliseconds of a followed frame by points, size of the shape and size of the frame.
std::string growthTable();

// Rows of where the time of a followed frame of 640 x 480 goes: points, part, milliseconds.
std::string partsTable(std::size_t points);

// Seconds that training with default options takes.
double trainingTime(const Subject& subject);

}  // namespace remora::bench
