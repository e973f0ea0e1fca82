#include <cmath>
#include <cstdlib>
#include <vector>

#include "straight.h"

namespace remora::bench {
namespace {

double sampleAt(const CImg<float>& image, int x, int y) {
  return static_cast<double>(image(x, y)) / 255.0;
}

void addTemplate(lin_predC& predictor, const CImg<float>& image, const float* place,
                 double weight) {
  for (int k = 0; k < predictor.nSuppPix; ++k) {
    predictor.supPixInt[k] +=
        weight * sampleAt(image, static_cast<int>(place[0]) + predictor.supPix[2 * k],
                          static_cast<int>(place[1]) + predictor.supPix[2 * k + 1]);
  }
}

double drawn(int range) { return std::floor((2.0 * (std::rand() / 2147483647.0) - 1.0) * range); }

void keepInside(const lin_predC& predictor, const CImg<float>& image, const float* place,
                double* t) {
  const double x = static_cast<double>(place[0]);
  const double y = static_cast<double>(place[1]);
  for (int k = 0; k < predictor.nSuppPix; ++k) {
    const int dx = predictor.supPix[2 * k];
    const int dy = predictor.supPix[2 * k + 1];
    const double at_x = x + dx + static_cast<int>(t[0]);
    const double at_y = y + dy + static_cast<int>(t[1]);
    if (at_x >= 0 && at_x < image.width() && at_y >= 0 && at_y < image.height()) continue;
    t[0] = at_x < 0 ? -x - dx : image.width() - x - dx - 1;
    t[1] = at_y < 0 ? -y - dy : image.height() - y - dy - 1;
  }
}

void addExamples(lin_predC& predictor, const CImg<float>& image, const float* place, int count) {
  const auto pixels = static_cast<std::size_t>(predictor.nSuppPix);
  const auto slots = static_cast<std::size_t>(predictor.nExample);
  if (predictor.l == nullptr) predictor.l = new double[pixels * slots];
  if (predictor.t == nullptr) predictor.t = new double[2 * slots];
  for (int k = 0; k < predictor.nSuppPix; ++k) {
    predictor.supPixInt_Learn[k] =
        sampleAt(image, static_cast<int>(place[0]) + predictor.supPix[2 * k],
                 static_cast<int>(place[1]) + predictor.supPix[2 * k + 1]);
  }
  for (int e = 0; e < count; ++e) {
    const int slot = predictor.added_ex;
    if (slot >= predictor.nExample) return;
    ++predictor.added_ex;
    double* const t = predictor.t + 2 * slot;
    t[0] = drawn(predictor.range);
    t[1] = drawn(predictor.range);
    keepInside(predictor, image, place, t);
    for (int k = 0; k < predictor.nSuppPix; ++k) {
      predictor.d_int = sampleAt(
          image, static_cast<int>(place[0]) + predictor.supPix[2 * k] + static_cast<int>(t[0]),
          static_cast<int>(place[1]) + predictor.supPix[2 * k + 1] + static_cast<int>(t[1]));
      predictor.l[slot * predictor.nSuppPix + k] = predictor.d_int - predictor.supPixInt[k];
    }
  }
}

// Matrices are column-major.
void fillExamples(const lin_predC& predictor, Gan_Matrix& rows, Gan_Matrix& displacements) {
  for (int e = 0; e < predictor.nExample; ++e) {
    double* const column = rows.data + e * (predictor.nSuppPix + 1);
    for (int k = 0; k < predictor.nSuppPix; ++k)
      column[k] = predictor.l[e * predictor.nSuppPix + k];
    column[predictor.nSuppPix] = 1.0;
    displacements.data[2 * e] = predictor.t[2 * e];
    displacements.data[2 * e + 1] = predictor.t[2 * e + 1];
  }
}

void fillGram(const Gan_Matrix& rows, Gan_Matrix& gram) {
  const std::size_t size = rows.rows;
  const std::size_t examples = rows.cols;
  std::vector<float> copy(size * examples);
  for (std::size_t e = 0; e < examples; ++e) {
    for (std::size_t k = 0; k < size; ++k) {
      copy[k * examples + e] = static_cast<float>(rows.data[e * size + k]);
    }
  }
  for (std::size_t i = 0; i < size; ++i) {
    for (std::size_t j = i; j < size; ++j) {
      gram.data[i * size + j] = gram.data[j * size + i] =
          sse_inner(&copy[i * examples], &copy[j * examples], static_cast<unsigned int>(examples));
    }
  }
}

struct Matrix : Gan_Matrix {
  Matrix() : Gan_Matrix{} {}
  Matrix(std::size_t height, std::size_t width) : Gan_Matrix{} {
    gan_mat_form_gen(this, height, width, nullptr, 0);
  }
  ~Matrix() { gan_mat_free(this); }
  Matrix(const Matrix&) = delete;
  Matrix& operator=(const Matrix&) = delete;
};

double learn(lin_predC& predictor, int direction) {
  const auto size = static_cast<std::size_t>(predictor.nSuppPix) + 1;
  const auto examples = static_cast<std::size_t>(predictor.nExample);
  Matrix rows(size, examples), displacements(2, examples), gram(size, size), ridge(size, size);
  fillExamples(predictor, rows, displacements);
  fillGram(rows, gram);
  gan_mat_fill_const_q(&ridge, 0.0);
  for (std::size_t k = 0; k < size; ++k) ridge.data[k * size + k] = 1e-7;

  Matrix sum(size, size), inverse(size, size), moment(2, size), learned(2, size);
  Matrix predicted(2, examples), errors(2, examples);
  gan_mat_add_gen(&gram, false, &ridge, false, &sum);
  gan_mat_invert_q(&sum, &inverse);
  gan_mat_rmult_gen(&displacements, false, &rows, true, &moment);
  gan_mat_rmult_gen(&moment, false, &inverse, false, &learned);
  gan_mat_rmult_gen(&learned, false, &rows, false, &predicted);
  gan_mat_sub_gen(&predicted, false, &displacements, false, &errors);
  double total = 0.0;
  for (std::size_t e = 0; e < examples; ++e) {
    total += std::abs(errors.data[2 * e + static_cast<std::size_t>(direction)]);
  }
  predictor.residual_error = total / static_cast<double>(examples);
  if (predictor.residual_error < 99.0) gan_mat_copy_q(&learned, &predictor.H_vv);
  delete[] predictor.l;
  delete[] predictor.t;
  predictor.l = predictor.t = nullptr;
  return predictor.residual_error;
}

}  // namespace

double straightGeneration(LP_Bunch& bunch, CImg<float>** images, int num_images, float*** positions,
                          int point, int direction) {
  for (lin_predC& predictor : bunch.predictors) {
    predictor.ZeroSupPixVals();
    predictor.ResetNumAddedEx();
  }
  const auto forEach = [&](int image, const auto& action) {
    for (std::size_t i = 0; i < bunch.predictors.size(); ++i) {
      const float* const offset = bunch.lp_pos_offs + 2 * i;
      const float* const at = positions[image][point];
      const float place[] = {offset[0] + at[0], offset[1] + at[1]};
      action(bunch.predictors[i], place);
    }
  };
  for (int j = 0; j < num_images; ++j) {
    forEach(j, [&](lin_predC& predictor, const float* place) {
      addTemplate(predictor, *images[j], place, 1.0 / num_images);
    });
  }
  for (int j = 0; j < num_images; ++j) {
    forEach(j, [&](lin_predC& predictor, const float* place) {
      addExamples(predictor, *images[j], place, bunch.num_ex_per_train_img);
    });
  }
  double sum = 0.0;
  for (lin_predC& predictor : bunch.predictors) sum += learn(predictor, direction);
  return sum;
}

}  // namespace remora::bench
