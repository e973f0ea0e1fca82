// The readers and writers of single formats. A reader adds what a file holds to a collector, and
// throws Error with the place of what it cannot take.
#pragma once

#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "follow/annotation/formats/collector.h"
#include "follow/annotation/formats/formats.h"
#include "follow/base/csv.h"

namespace remora {

// How far the middle of the top left pixel is from (0, 0) where that is the corner of the picture.
constexpr Point kCorner = {0.5, 0.5};

void readPts(const std::string& file, const std::string& text, Collector& into);
void readImglab(const std::string& file, const std::string& text, const pugi::xml_node& root,
                Collector& into);
void readCvat(const std::string& file, const std::string& text, const pugi::xml_node& root,
              Collector& into);
void readCoco(const std::string& file, const nlohmann::json& json, Collector& into);
void readLabelme(const std::string& file, const nlohmann::json& json, Collector& into);
void readDeepLabCut(const std::string& file, const std::vector<CsvRow>& rows, Collector& into);
void readSleap(const std::string& file, const std::vector<CsvRow>& rows, Collector& into);

std::string formatCoco(const Positions& positions);
std::string formatDeepLabCut(const Positions& positions);
std::string formatSleap(const Positions& positions);

}  // namespace remora
