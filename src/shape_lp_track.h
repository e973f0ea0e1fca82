// Training: bunches of linear predictors that evolve towards the places around a feature point
// where they predict best, the files that hold them, and the inputs they learn from.
//
//   SLT_Cfg             a training configuration: image sequences, known shapes, scaled image size
//   ShapeLPTracker      one bunch per feature point; trains, saves and reads them
//   SelLPShapeTracker   an x-trained and a y-trained tracker; writes the flat LP file that
//                       FastShapeTracker (fast_lp.h) tracks with
//
// A host trains twice, once for each coordinate, saves both trackers, and joins them:
//
//   std::srand(1);
//   ShapeLPTracker x(images, num_images, 1.0f, num_points, positions, 20.0f, 60, 0, nullptr, 0, 3);
//   x.SaveToFile("x.lpb");
//   ...                                            // the same with direction 1 into "y.lpb"
//   SelLPShapeTracker("x.lpb", "y.lpb").SaveFlat("shape.flp");
//
// Conventions:
// - Positions are pixels, x to the right, y down. Samples are grey levels of the first channel,
//   divided by 255.
// - Training positions are nested arrays positions[image][point][0 and 1], owned by the caller.
// - All random numbers come from rand(), which the library never seeds: the same seed and inputs
//   give the same files, byte for byte. Training runs on the caller's thread; a thread that calls
//   rand() or srand() meanwhile may get numbers of another generator, and its seed may be lost.
// - Text files hold numbers separated by white space, with a point whatever the locale, reals with
//   six decimals. A file that cannot be opened or is malformed is reported in one line on standard
//   output and leaves a defined, empty object (or changes nothing); only the readers of shape
//   sequences return what was complete.
// - Progress lines go to standard output. The library throws nothing of its own: only
//   CImgIOException for an image file that cannot be read, another CImgException for a scale that
//   no image can have, and std::bad_alloc come out.
#pragma once

#include <cstdio>
#include <memory>
#include <vector>

#include "ImgFnames.h"
#include "cimg/CImg.h"
#include "lin_predC.h"
#include "remora_export.h"

namespace remora::internal {
class TextReader;
struct Flags;
}  // namespace remora::internal

// The predictors of one feature point. Not copyable: trackers hand out pointers to mean_pos.
class REMORA_EXPORT LP_Bunch {
 public:
  // -- You may read --

  int num_lps = 0;                  // predictors
  double mean_pos[2] = {0.0, 0.0};  // position of the bunch (x, y), pixels: the mean of the placed
                                    // predictors, until SetPos or a file gives another
  char err_weight_flag = 0;
  std::vector<double> state;          // 2 * num_lps: position of every predictor, pixels
  std::vector<lin_predC> predictors;  // num_lps, in placement order
  std::vector<double> all_mean_to;    // 2 * num_lps zeros, for the host's use
  std::vector<double> lp_weights;     // 2 * num_lps: ones, or the values of a weights file
  std::vector<double> lp_err;         // num_lps zeros, for the host's use
  std::vector<double> lp_err_weight;  // num_lps zeros, for the host's use
  std::vector<int> lp_x_inds;    // num_lps: ones, or the first list of an LP flags file, less 1
  std::vector<int> lp_y_inds;    // the same for the second list
  int num_ex_per_train_img = 0;  // examples each predictor draws from one image; 0 when read
  float* lp_pos_offs = nullptr;  // 2 * num_lps: offset of each predictor from the feature
                                 // point, pixels; owned

  // Places num_lps predictors of 30 support pixels each at the feature point (x, y) of the first
  // training image, img_w x img_h pixels, at least 30 pixels inside it. The first ten sit at the
  // point; the others are drawn within r pixels of it, hack_flag being the vertical mode: 0 around
  // the point, -1 at least 5 pixels below, 1 at least 5 pixels above, anything else on its row.
  // Half of r is the radius of the support pixels. Each predictor gets room for num_imgs *
  // num_ex_per_img examples; img_scale is not used. Without predictors mean_pos is the point. A
  // negative count is taken as 0.
  //
  // A point nearer than 30 pixels to the border is reported; its first ten predictors go to the
  // nearest whole-pixel place that is not (in an image too small for that, to the nearest place
  // inside it). A predictor for which no draw can pass, or 10,000 were rejected, goes there too,
  // with one line. Draws from rand(), predictor by predictor: x and y of its place, then its
  // support pixels.
  LP_Bunch(int img_w, int img_h, int num_imgs, int num_ex_per_img, float img_scale, int num_lps,
           float x, float y, float r, char hack_flag);

  // Reads a bunch record and, unless weight_file is null, a weights record; leaves both streams
  // after them. A malformed bunch record leaves no predictors, a malformed weights record leaves
  // weights 1.
  LP_Bunch(std::FILE* file, std::FILE* weight_file);

  ~LP_Bunch();
  LP_Bunch(const LP_Bunch&) = delete;
  LP_Bunch& operator=(const LP_Bunch&) = delete;

  // Below, every predictor works at the feature point's position (x, y) plus its own offset.

  // Templates = 0; = samples of `img`; += weight * samples of `img`.
  void ZeroLP_BunchSPVals();
  void InitLP_Bunch_SPVals(CImg<float>& img, float* fp_pos);
  void AddLP_Bunch_SPVals(CImg<float>& img, float* fp_pos, double weight);

  // Forgets the gathered examples.
  void ResetTrainData();

  // Every predictor draws num_ex_per_train_img examples around the point's position in cur_img, as
  // far as it has room. The first image and position only refresh supPixInt_Learn.
  void AddOneImgTrainData(CImg<float>& sp_img, float* sp_fp_pos, CImg<float>& cur_img,
                          float* cur_fp_pos);

  // Every predictor learns. Returns the num_lps training errors in direction sel_dim (0 x, else y)
  // as a new array that the caller releases with delete[]; prints the largest and the smallest
  // (nothing when there are no predictors).
  double* TrainFromMultiImgs(int sel_dim);

  // Moves predictor i to the old offset of predictor new_inds[i] plus a uniform jitter of up to
  // offs_rad pixels in each coordinate. An index without a predictor counts as i itself.
  void ReplaceLPPos(int* new_inds, float offs_rad);

  // Moves the bunch: mean_pos and state. The predictors' own positions stay.
  void SetPos(float new_x, float new_y);

  // Writes the bunch record at the stream's position: count; mean_pos; state; predictor records.
  void SaveToFile(std::FILE* file);

  // Reads an LP flags record: a count, then two lists of so many values, each stored less 1. A
  // count other than num_lps is reported; surplus values are skipped. Malformed: nothing changes.
  void ReadLP_Flags(std::FILE* file);

 private:
  friend class ShapeLPTracker;

  LP_Bunch() = default;

  void SizeLists(int count);
  void InitLPWeights();
  void DrawOneImgTrainData(const CImg<float>& img, const float* fp_pos);
  double* TrainFromImgs(CImg<float>** imgs, int num_imgs, float*** fp_pos, int point, int sel_dim);
  template <class LearnOne>
  double* Learn(const LearnOne& learnOne);
  void ReadFromFile(remora::internal::TextReader& in);
  void ReadWeights(remora::internal::TextReader& in);
  void ApplyFlags(const remora::internal::Flags& flags);
};

// Trains and holds one bunch per feature point. Not copyable.
class REMORA_EXPORT ShapeLPTracker {
 public:
  // -- You may read --

  int num_fps = 0;                   // feature points
  LP_Bunch** fp_lp_bunch = nullptr;  // num_fps bunches; array and bunches are owned
  double** ret_fps_pos = nullptr;  // num_fps pointers to the bunches' mean_pos: where each point is

  // Trains a tracker; see InitMultiImgs. One radius and one predictor count for all points.
  ShapeLPTracker(CImg<float>** preloaded_imgs, int num_imgs, float img_scale, int num_fps,
                 float*** fp_pos, float fp_r, int num_lps, char img_type, char* hack_flags,
                 int sel_dim, int num_iter);

  // The same with num_fps radii and predictor counts, owned by the caller.
  ShapeLPTracker(CImg<float>** preloaded_imgs, int num_imgs, float img_scale, int num_fps,
                 float*** fp_pos, float* fp_r, int* num_lps, char img_type, char* hack_flags,
                 int sel_dim, int num_iter);

  // Reads a bunch file and, unless weight_fname is null, a weights file. A malformed bunch file
  // gives a tracker of 0 points; an unreadable or malformed weights file leaves all weights 1.
  ShapeLPTracker(const char* fname, const char* weight_fname);

  // Joins the feature points of several bunch files, in file order; all or none.
  ShapeLPTracker(const char* const* all_fnames, int num_fnames);

  ~ShapeLPTracker();
  ShapeLPTracker(const ShapeLPTracker&) = delete;
  ShapeLPTracker& operator=(const ShapeLPTracker&) = delete;

  // Reads an LP flags file into the bunches. Another number of points, or a malformed file: one
  // line, nothing changes.
  void ReadSelLP(const char* fname);

  // Places and trains all bunches anew; earlier ones are released. Images (num_imgs, all of one
  // size) and positions fp_pos[image][point] are the caller's and are not kept. Per point: fp_r,
  // the radius of placement (a tenth of it is the jitter of re-placement), num_lps, its predictors,
  // and hack_flags, its vertical mode (null means 0 for all; see LP_Bunch). img_scale and img_type
  // are not used. The errors of direction dim_ind (0 x, else y) drive the evolution over iter_num
  // generations; with none the bunches are only placed. Missing images or positions, or a radius
  // that is not a finite number: one line, a tracker of 0 points.
  //
  // Order of rand() draws: placement of all bunches; then per point and generation the examples in
  // image order, the selection, the re-placement.
  void InitMultiImgs(CImg<float>** preloaded_imgs, int num_imgs, int num_fps, float*** fp_pos,
                     float* fp_r, int* num_lps, float img_scale, char img_type, char* hack_flags,
                     int dim_ind, int iter_num);

  // Writes the bunch file: the number of points, then their bunch records. A file that cannot be
  // opened or written is reported in one line. Offsets are read back relative to mean_pos: after a
  // training of a single generation, which re-places nothing, put each bunch at its point with
  // LP_Bunch::SetPos before saving, or they are relative to the mean of its predictors.
  void SaveToFile(const char* fname);

  // Moves every bunch to its point in shape frame_num (limited to the shapes there are) of a shape
  // sequence file, coordinates times scale. A missing file changes nothing, silently; a shape that
  // lacks points changes nothing, in one line. Of a malformed file, the complete shapes count.
  void SetFPPosWithShapeSeq(const char* fname, float scale, int frame_num);

  // Writes one part of a flat LP file at the stream's position: first its header (predictor count,
  // support pixel count, the first predictor's position, or the bunch's when it has none), then
  // offsets, templates, row coord_ind (0 x, 1 y) of the learned matrices, and the sum of their
  // constant terms. A predictor that never learned has zero weights. An index without a point or
  // another coordinate: one line, nothing is written.
  void SaveFlatHeader(std::FILE* file, int feat_ind);
  void SaveFlat(std::FILE* file, int feat_ind, int coord_ind);

 protected:
  // Gathers the material of one point straight from the first num_imgs files of a sequence, holding
  // two images at a time (the caller's work images), each resized by img_scale to 3 channels
  // without smoothing: to the whole percentage of img_scale (0.7 gives 69), to an empty image below
  // 0.01, to -100 * img_scale pixels square when it is negative. The first image's samples are
  // added to the template with `weight`, or replace it when weight is 1 or more; every image adds
  // examples. fp_pos[image][point] is in scaled pixels. An index without a point is reported and
  // ignored. Throws CImgIOException for a file that cannot be read.
  void AddTrainImgsToLPBunch(ImgFnames* img_fn, int num_imgs, float*** fp_pos, float img_scale,
                             CImg<float>* img, CImg<float>* img2, int fp_ind, double weight);

  // The cumulative fitness output[i] = (f[0] + ... + f[i]) / total.
  void GetNormalisedCumul(double* f, int N, double* output);

  // Roulette-wheel selection: N indices in a new array that the caller releases with delete[].
  // Slot 0 is index 0; every other slot draws from rand(). A slot for which no cumulative value
  // reaches the draw keeps its own index.
  int* SelectFromFitness(double* fitness_cumul, int N);

  // Errors to fitness, in place: f[i] = 1 / (f[i] * f[i]).
  void GetInverseErr(double* f, int N);

 private:
  void ReadFromFile(const char* fname, const char* weight_fname);
  void ReadFromMultiFiles(const char* const* all_fnames, int num_fnames);

  // Loads num_imgs images of a sequence, blurred with sigma 1 and with 3 channels. A file that
  // cannot be read is reported and skipped; after 100 in a row, or at the end of a list, loading
  // stops with one line and the remaining slots are null. The caller releases images (delete) and
  // array (delete[]).
  CImg<float>** LoadAllImgs(ImgFnames* img_fn, int num_imgs);

  ShapeLPTracker() = default;
  void TrainGeneration(LP_Bunch& bunch, CImg<float>** imgs, int num_imgs, float*** fp_pos,
                       int point, float radius, int dim_ind, bool last);
  static void ReadBunches(remora::internal::TextReader& in, int count, int total,
                          std::vector<std::unique_ptr<LP_Bunch>>& bunches);
  void ReadWeights(remora::internal::TextReader& in);
  void Adopt(std::vector<std::unique_ptr<LP_Bunch>> bunches);
  bool HasPoint(int fp_ind) const;
  void Clear();
};

// An x-trained and a y-trained tracker of the same points. Not copyable.
class REMORA_EXPORT SelLPShapeTracker {
 public:
  // -- You may read --

  int num_fps = 0;            // feature points
  float** fps_pos = nullptr;  // num_fps positions (x, y), pixels; owned

  // Reads both bunch files; positions are those of the x tracker. Files of different point counts:
  // one line, 0 points.
  SelLPShapeTracker(const char* x_fname, const char* y_fname);
  ~SelLPShapeTracker();
  SelLPShapeTracker(const SelLPShapeTracker&) = delete;
  SelLPShapeTracker& operator=(const SelLPShapeTracker&) = delete;

  // Places a point, or moves it by (x, y), with its bunches in both trackers. An index without a
  // point is reported in one line and ignored.
  void SetPos(int fp_ind, float x, float y);
  void OffsetPos(int fp_ind, float x, float y);

  // As ShapeLPTracker::SetFPPosWithShapeSeq, for both trackers; then fps_pos takes x from the x
  // tracker and y from the y tracker.
  void SetFPPosWithShapeSeq(const char* fname, float scale, int frame_num);

  // Writes the flat LP file: per point an x part from the x tracker and a y part from the y
  // tracker. Placing points does not change what is written, but for a bunch without predictors,
  // whose own position is all there is.
  void SaveFlat(const char* fname);

 protected:
  ShapeLPTracker* x_tracker = nullptr;  // owned
  ShapeLPTracker* y_tracker = nullptr;  // owned

 private:
  bool HasPoint(int fp_ind) const;
};

// A training configuration, read from a text file of lines that end in CR LF:
//
//   number of sequences, then for each sequence
//     base name of its frames, base.nnnnn.png
//     number of its first frame
//     name of the shape sequence file with its positions
//
// The last character of a name line is dropped whatever it is. Not copyable.
class REMORA_EXPORT SLT_Cfg {
 public:
  // -- You may read; all arrays are owned --

  int num_seqs = 0;                  // image sequences
  ImgFnames** img_fnames = nullptr;  // num_seqs sequences of frame names
  float**** all_fp_pos = nullptr;    // [sequence][shape][point] -> (x, y), times the image scale
  int* all_num_shapes = nullptr;     // shapes of each sequence
  int* all_num_fps = nullptr;        // points of each sequence's last shape
  int img_w = 0;                     // size of the first frame of the first sequence after scaling
  int img_h = 0;

  // Reads the file, the shapes of every sequence, and the first frame of the first sequence, whose
  // name is then taken: img_fnames[0] stands at its second frame. Frames are scaled to the whole
  // percentage of img_scale (0.7 gives 69), to nothing below 0.01, to -100 * img_scale pixels
  // square when it is negative. A name holds 1 to 499 characters. An unreadable or malformed file:
  // one line, num_seqs 0. Of a malformed shape sequence file, the complete shapes count. A shape
  // sequence file that cannot be opened ends the process (ReadShapeFileSeq). Throws CImgIOException
  // when the frame cannot be read.
  SLT_Cfg(const char* fname, float img_scale);
  ~SLT_Cfg();
  SLT_Cfg(const SLT_Cfg&) = delete;
  SLT_Cfg& operator=(const SLT_Cfg&) = delete;
};

// Readers of shape files. Positions are float[2] (x, y), multiplied by `scale`; all arrays belong
// to the caller, who releases them with delete[], innermost first. Every shape's array of points
// has one more entry, a null pointer, behind its points.

// One shape: a point count, then x and y of every point. Returns [point]. Null, and nothing stored,
// when the file cannot be opened or is malformed, after one line.
REMORA_EXPORT float** ReadShapeFile(const char* fname, float scale, int* ret_num_points);

// A sequence: a shape count, then shapes as above. Returns [shape][point] and stores the point
// count of the last shape; shapes of different counts are reported. A fault is reported and ends
// the sequence after its last complete shape. A file that cannot be opened ends the process,
// status 1.
REMORA_EXPORT float*** ReadShapeFileSeq(const char* fname, float scale, int* ret_num_points,
                                        int* ret_num_shapes);

// A sequence without a leading count, up to the end of the file or the first token that is no
// count. Returns [frame][point]. The missing coordinates of a last frame that is cut short are NaN,
// after one line (it has no more points than there are values for, than earlier frames had
// together, or than 1024, whichever is most). Null, and nothing stored, when the file cannot be
// opened.
REMORA_EXPORT float*** ReadTresFile(const char* fname, float scale, int* ret_num_points,
                                    int* ret_num_frames);

// Waits, keeping the processor busy, until clock() has advanced by `msec` of its ticks (not
// milliseconds). Lives beside POSIX sleep(unsigned int), which takes seconds and gives the
// processor away: an int argument calls this one wherever both are declared.
REMORA_EXPORT void sleep(int msec);

// Zero at load; for the host's use.
extern REMORA_EXPORT int glob_save_lp_info_stub;
