// What is kept beside the table of one of many videos, by which a later run knows it.
#pragma once

#include <optional>
#include <string>

#include "follow/base/origin.h"
#include "follow/model/model.h"
#include "track.h"

namespace remora::tools {

struct TableRecord {
  Origin origin;
  std::string summary;  // how tracking went, in a line
};

// Check sums of model, options and footage. A video is known by its size, its beginning and its
// end, images by the sizes of all and the first and the last one: footage is not read for it.
Origin originOf(const TrackRequest& request, const Model& model);

// The record of a finished table; none where the table is not there as it was written.
std::optional<TableRecord> readRecord(const std::string& table);

// Of a table that is there.
void writeRecord(const std::string& table, const TableRecord& record);

}  // namespace remora::tools
