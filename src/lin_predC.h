// One linear predictor: a learned 2 x (n + 1) matrix that maps the grey-level differences between
// an image and a template, sampled at n support pixels around a point, followed by a constant 1, to
// the displacement (x, y) of the point.
//
// A predictor learns from synthetic examples: its reference point is displaced by known amounts in
// images where the point's true position is known. After F. Jurie and M. Dhome, "Hyperplane
// approximation for template matching", IEEE PAMI 24(7), 2002.
//
// Units: positions and displacements are pixels; samples are grey levels of the first channel
// divided by 255. A reference point is truncated toward zero to whole pixels before offsets are
// added. A sample that would lie outside the image is taken at the nearest pixel of its edge; an
// empty image samples as 0.
#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <vector>

#include "cimg/CImg.h"
#include "gandalf.h"
#include "remora_export.h"

namespace remora::internal {
class TextReader;
}

class REMORA_EXPORT lin_predC {
 public:
  // -- You may read. Arrays belong to the object (new[], delete[]) --

  int nExample = 0;                // examples to learn from; capacity of t and l
  int nSuppPix = 0;                // support pixels
  int range = 0;                   // offsets and training displacements lie in -range ... range
  double residual_error = 0.0;     // mean absolute training error of the last learning, pixels
  double d_int = 0.0;              // sample taken last while adding examples
  int* supPix = nullptr;           // 2 * nSuppPix: (dx, dy) of each support pixel
  double* supPixInt = nullptr;     // nSuppPix: the template
  double* nowSupPixInt = nullptr;  // nSuppPix: for the host's use; the library leaves it alone
  double* t = nullptr;             // 2 * nExample: displacement (x, y) of each example; or null
  double* l = nullptr;             // nExample x nSuppPix, example-major: image - template; or null
  double* j = nullptr;             // nSuppPix + 1: for the host's use; the library leaves it alone
  Gan_Matrix H_vv = {};  // the learned matrix, 2 x (nSuppPix + 1), row 0 for x, row 1 for y,
                         // last column the constant term; 1 x 1 and zero until then
  double state[2] = {0.0, 0.0};       // position given to setState, pixels
  double* supPixInt_Learn = nullptr;  // nSuppPix: samples of the latest AddLearnInfo's first image
  int added_ex = 0;                   // examples stored in t and l
  double pred_template_err = 0.0;     // result of the latest CalcPredErr

  // 300 support pixels and room for 400 examples, all zero.
  lin_predC();

  // nSP support pixels at offset (0, 0) and nE examples; t and l are made when they are needed. A
  // negative count is taken as 0.
  lin_predC(int nSP, int nE);

  // Reads a record that SaveToFile wrote and leaves the stream after it. A malformed record is
  // reported in one line and leaves a predictor without support pixels.
  explicit lin_predC(std::FILE* file);

  // Deep copy of sizes, support pixels, template, matrix, range, residual error, state and t;
  // without the training differences (l is null, added_ex 0) and with supPixInt_Learn,
  // nowSupPixInt, j, d_int and pred_template_err at 0.
  lin_predC(const lin_predC& a);
  lin_predC& operator=(const lin_predC& a);  // the same
  // Takes over everything; the other may then only be assigned to or destroyed.
  lin_predC(lin_predC&& a) noexcept;
  ~lin_predC();

  // Draws all support pixel offsets in -ip_range ... ip_range so that each lies inside the
  // img_w x img_h image around the position ip_X (x, y). Duplicates may occur. Draws from rand():
  // dx, then dy, again until the pixel lies inside. A position outside the image, or a range so
  // wide that a million draws all fall outside, is reported in one line and gives offset (0, 0).
  void InitSupPixPos(int img_w, int img_h, double* ip_X, int ip_range);

  // Template = samples of `img` around refP (x, y).
  void InitSupPixVals(CImg<float>& img, float* refP);
  // Template = 0.
  void ZeroSupPixVals();
  // Template += weight * samples of `img` around refP (x, y).
  void AddSupPixVals(CImg<float>& img, float* refP, float weight);

  // Mean absolute difference between the samples around pos (x, y) and the template; 0 without
  // support pixels. Also stored in pred_template_err.
  double CalcPredErr(CImg<float>& ip_image, double* pos);

  // Adds up to num_ex_to_add examples, as many as there is room for: random displacements of
  // img_refP (x, y) in `img`, two draws from rand() each, x first. A displacement that would take a
  // support pixel out of the image is reset to the border in both coordinates; `t` keeps its
  // fraction, samples are taken at whole pixels. The first image and its reference point only
  // refresh supPixInt_Learn.
  void AddLearnInfo(CImg<float>& sup_pix_img, float* sp_img_refP, CImg<float>& img, float* img_refP,
                    int num_ex_to_add);

  // Learns H_vv by ridge regression from the stored examples and releases them (t and l become
  // null, added_ex stays). Returns the mean absolute training error of direction sel_dim (0 x, else
  // y) in pixels, also stored in residual_error. Fewer examples than nExample are reported in one
  // line and used. An error that is not below 99 pixels is reported in one line and leaves H_vv as
  // it was: that of a system that cannot be solved and of a learning without examples is +infinity,
  // that of displacements that are not numbers is NaN.
  double LearnFromMultiImgsData(int sel_dim);

  // Writes the predictor as text at the stream's position: sizes and range; offsets; template;
  // matrix size and rows; state. Six decimals.
  void SaveToFile(std::FILE* file);

  // Forgets the stored examples, before a new set is gathered.
  void ResetNumAddedEx() { added_ex = first_ex_ = 0; }

  void setState(double* pos) {
    state[0] = pos[0];
    state[1] = pos[1];
  }

  double* State() { return state; }
  int SupportPixelCount() { return nSuppPix; }
  int TrainingExampleCount() { return nExample; }
  double Error() { return residual_error; }

 private:
  friend class LP_Bunch;

  struct Blank {};  // for a constructor that allocates nothing
  explicit lin_predC(Blank) {}
  explicit lin_predC(remora::internal::TextReader& in);

  void Allocate(int support_pixels, int examples);
  void Swap(lin_predC& other) noexcept;
  void ReadFromFile(remora::internal::TextReader& in);
  void SampleLearnTemplate(const CImg<float>& img, const float* refP);
  bool MakeRoom(bool for_differences);
  int DrawExamples(const CImg<float>& img, const float* refP, int most);
  void KeepLastSample(const CImg<float>& img, const float* refP);
  template <class ForEachBlock>
  double Learn(std::size_t examples, int sel_dim, const ForEachBlock& forEachBlock);

  // The driver's way: displacements first, differences when they are learned from.
  void AddDisplacements(const CImg<float>& img, const float* refP, int most);
  double LearnFromImgs(CImg<float>** imgs, const std::vector<std::array<float, 2>>& refPs,
                       int num_ex_per_img, int sel_dim, std::vector<double>& rows);

  void Clear();

  int first_ex_ = 0;  // first slot whose example is stored; not 0 when examples are added after a
                      // learning without a reset
};

// Sum of a[i] * b[i] for i < n, in order, accumulated in double; 0 for n = 0.
REMORA_EXPORT double sse_inner(const float* a, const float* b, unsigned int n);
