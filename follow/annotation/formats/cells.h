// Cells of tables.
#pragma once

#include <string>
#include <vector>

#include "follow/annotation/formats/formats.h"
#include "follow/annotation/formats/place.h"
#include "follow/base/csv.h"

namespace remora {

// A coordinate; not a number where the cell is empty or says so.
double readCoordinate(const std::string& cell, const Place& place);
// A number with six decimals; empty where it is none.
std::string numberCell(double value);
// Throws Error unless a row has as many cells as the header.
void requireCells(const CsvRow& row, std::size_t columns, const Place& place);

bool isSeen(const TrackedPoint& point);
// Frames in the order of their numbers. Throws Error where a number is there twice.
std::vector<const Positions::Frame*> framesByNumber(const Positions& positions,
                                                    const char* format_name);

}  // namespace remora
