// Run-time tracking: points that move by one weighted sum over image samples per coordinate.
//
// A FastShapeTracker is read from a flat LP file (SelLPShapeTracker::SaveFlat writes it). Place its
// points, then call Predict once for every new image and read the positions:
//
//   FastShapeTracker tracker("face.flp");
//   tracker.SetPos(0, 120.5, 88.0);
//   double** positions = tracker.Predict(image);   // positions[i][0] is x, positions[i][1] is y
//
// Method: learned linear displacement predictors after F. Jurie and M. Dhome, "Hyperplane
// approximation for template matching", IEEE PAMI 24(7), 2002.
//
// Units: positions are pixels, x to the right, y down. Samples are grey levels divided by 255, so
// 0 ... 1 for 8-bit images. A sample outside the image counts as 0. Nothing here throws on bad
// files: a fault is one line on standard output and an empty object. An object is used by one
// thread at a time.
#pragma once

#include <cstdio>
#include <memory>
#include <vector>

#include "cimg/CImg.h"
#include "remora_export.h"

namespace remora::internal {
class ShapePlan;
class TextReader;
struct Chain;

struct OffsetBox {  // the smallest box that holds some offsets; a member needs it whole
  int min_x = 0, max_x = 0, min_y = 0, max_y = 0;
};
}  // namespace remora::internal

// The run-time predictor of one feature point: its position, and for each coordinate a part: a list
// of support pixels with one weight each. Made by FastShapeTracker; not copyable.
class REMORA_EXPORT FastLP {
 public:
  // -- You may read and set --

  double cur_pos[2] = {0.0, 0.0};  // current position (x, y) in pixels, sub-pixel

  // -- You may read. The arrays belong to the object and must not change: a step relies on them to
  // stay inside the image. Those of a part without support pixels are null --

  int num_sp_x = 0;                // support pixels of the x part: distinct offsets, by dy, then dx
  int num_lps_x = 0;               // linear predictors in the x part; their outputs are averaged
  int* sp_offs_x = nullptr;        // 2 * num_sp_x: (dx, dy) from the whole-pixel position
  double* sp_int_x = nullptr;      // num_sp_x: sum of weight * template intensity at this offset
  double* sp_weights_x = nullptr;  // num_sp_x: sum of the weights at this offset, never zero
  double sp_bias_x = 0.0;          // constant term of the x part

  int num_sp_y = 0;  // the same for the y part
  int num_lps_y = 0;
  int* sp_offs_y = nullptr;
  double* sp_int_y = nullptr;
  double* sp_weights_y = nullptr;
  double sp_bias_y = 0.0;

  double x_rad = 0.0;  // largest |dx| or |dy| of the x part as read, before offsets were merged
  double y_rad = 0.0;  // the same for the y part

  // Reads one point, x part then y part, from a stream inside a flat LP file and leaves the stream
  // after it. A malformed point is reported in one line and leaves an empty object: no predictors,
  // no support pixels, position (0, 0). Support pixels that share an offset are merged; an offset
  // whose weights cancel, or sum to NaN, is dropped, and each support pixel that the
  // x part loses in this way is reported in a line with its number.
  explicit FastLP(std::FILE* file);
  ~FastLP();
  FastLP(const FastLP&) = delete;
  FastLP& operator=(const FastLP&) = delete;

  // One prediction step: samples the image around the position (truncated to whole pixels), forms
  // per coordinate (sum of weight * sample - term, plus bias) / number of predictors, and subtracts
  // it from the position. A part without predictors leaves its coordinate alone. A position that
  // fits no int has every sample outside the image. Returns cur_pos.
  double* Predict(CImg<float>& img);
  double* CompactPredict(CImg<float>& img);  // the same

  // As Predict, with every offset mapped by the 2 x 2 linear part of the row-major, three-column
  // matrix H (its elements 0, 1, 3, 4; not null) and truncated to whole pixels.
  double* Predict(CImg<float>& img, double* H);

  // As Predict, on an 8-bit buffer: 3 bytes a pixel, the first one sampled, `line_size` bytes a
  // row. A null or empty buffer has every sample outside.
  double* Predict(unsigned char* img, int line_size, int img_w, int img_h);

  void SetPos(double x, double y);
  void AddOffset(double offs_x, double offs_y);

 private:
  friend class FastShapeTracker;

  struct Part;  // the members of one coordinate

  FastLP() = default;
  explicit FastLP(remora::internal::TextReader& in);

  void Read(remora::internal::TextReader& in);
  void ReadFromFile(remora::internal::TextReader& in);
  void ReadXTracker(remora::internal::TextReader& in);
  void ReadYTracker(remora::internal::TextReader& in);
  void ReadPart(remora::internal::TextReader& in, const char* which, const Part& part);
  void Clear();

  void CompactX();
  void CompactY();
  static std::unique_ptr<int[]> CompactPart(const Part& part);
  static void CompactMe(int num_sp, int* sp_offs, double* sp_int, double* sp_weights,
                        int* new_num_sp, int** new_offs, double** new_sp_int, double** new_sp_w);
  static double* MakeSPArr(int* sp_offs, int num_sp, double* sp_weights, double* sp_int, int* min_x,
                           int* min_y, int* w, int* h, double** int_arr);

  Part XPart();
  Part YPart();
  template <class Image>
  double* Step(const Image& image);
  double* Move(const float* sums);
  static remora::internal::Chain ChainOf(const Part& part);

  remora::internal::OffsetBox x_box_;
  remora::internal::OffsetBox y_box_;
  bool planned_ = false;  // part of the plan of the shape that read it
};

// A shape: one FastLP per feature point, each predicted on its own. Not copyable.
class REMORA_EXPORT FastShapeTracker {
 public:
  // -- You may read. Writing through all_pos moves a point; all stays valid while the tracker lives
  // --

  int num_points = 0;          // feature points
  FastLP** all_flp = nullptr;  // num_points predictors in file order; owned
  double** all_pos = nullptr;  // num_points pointers to the predictors' cur_pos; the array is owned

  // Reads a flat LP file; every point starts at the position stored with its y part. A file that
  // cannot be opened or is malformed is reported in one line and gives a tracker without points.
  explicit FastShapeTracker(const char* fname);
  ~FastShapeTracker();
  FastShapeTracker(const FastShapeTracker&) = delete;
  FastShapeTracker& operator=(const FastShapeTracker&) = delete;

  // One prediction step of every point, in order. Returns all_pos.
  double** Predict(CImg<float>& img);

  // The same, starting from the positions of another tracker (or of this one). The other tracker is
  // not changed. When it is null or holds fewer points, one line says so and nothing moves.
  double** Predict(CImg<float>& img, FastShapeTracker* init_pos_info);

  // The same on an 8-bit buffer: 3 bytes a pixel, the first one sampled, `linesize` bytes a row.
  double** Predict(unsigned char* img, int linesize, int img_w, int img_h);

  // Moves every point.
  void AddOffset(double offs_x, double offs_y);

  // Position (x, y) of point i, or null when there is no such point.
  double* GetPos(int i);

  // Places point i; an index without a point is reported in one line and ignored.
  void SetPos(int i, double x, double y);

 private:
  template <class View>
  double** Step(const View& view);
  bool PlanHolds() const;

  std::unique_ptr<remora::internal::ShapePlan> plan_;  // the sums of all points, side by side
  std::vector<FastLP*> planned_;                       // the points it was made for
};
