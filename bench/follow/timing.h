// What following costs, against pyramidal Lucas-Kanade.
#pragma once

#include <string>

#include "subjects.h"

namespace remora::bench {

// Milliseconds a frame, of pictures in memory: followed with trust, lost, and never found.
std::string timingTable();

// Seconds that training with default options takes.
double trainingTime(const Subject& subject);

}  // namespace remora::bench
