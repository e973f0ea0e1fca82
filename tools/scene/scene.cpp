#include "scene/scene.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace remora::tools {
namespace {

constexpr int kWidth = 400;
constexpr int kHeight = 300;
constexpr double kTwoPi = 6.283185307179586;

// ---------------------------------------------------------------- hashing and noise

// Every random quantity of the scene draws from a stream of its own.
enum class Stream : std::uint64_t {
  kPhases,
  kSensor,
  kSkin,
  kBlotches,
  kGrain,
  kRough,
  kFreckles,
  kSand,
  kRipples,
  kOutlines,
  kPebbles
};

std::uint64_t mixBits(std::uint64_t bits) {
  constexpr std::uint64_t kFirstFactor = 0xb5297a4d3c6ef373u;
  constexpr std::uint64_t kSecondFactor = 0x68e31da49f2b8c15u;
  bits ^= bits >> 31;
  bits *= kFirstFactor;
  bits ^= bits >> 29;
  bits *= kSecondFactor;
  return bits ^ (bits >> 32);
}

std::uint64_t streamKey(unsigned seed, Stream stream) {
  constexpr std::uint64_t kSeedFactor = 0x9c6d5a3be41f7283u;
  return mixBits(mixBits((seed + 1u) * kSeedFactor) + static_cast<std::uint64_t>(stream));
}

constexpr std::uint64_t kColumnFactor = 0xd15b8e3a97c42f61u;
constexpr std::uint64_t kRowFactor = 0x8ce93a7b25f1d04du;

// Linear in column and row, so that neighbours are reached by adding the factors; mixBits() then
// makes the hash.
std::uint64_t cellNumber(std::uint64_t key, std::int64_t column, std::int64_t row) {
  return key + static_cast<std::uint64_t>(column) * kColumnFactor +
         static_cast<std::uint64_t>(row) * kRowFactor;
}

std::uint64_t hashCell(std::uint64_t key, std::int64_t column, std::int64_t row) {
  return mixBits(cellNumber(key, column, row));
}

// The upper or lower half of a hash as a number in [0, 1).
double unitFromHalf(std::uint64_t half) {
  constexpr double kHalfRange = 4294967296.0;
  // Signed numbers convert faster, and a half always fits.
  return static_cast<double>(static_cast<std::int64_t>(half)) / kHalfRange;
}

double upperUnit(std::uint64_t hash) { return unitFromHalf(hash >> 32); }

double lowerUnit(std::uint64_t hash) { return unitFromHalf(hash & 0xffffffffu); }

double square(double x) { return x * x; }

double length(double x, double y) { return std::sqrt(x * x + y * y); }

std::int64_t floorToCell(double x) {
  const auto towardsZero = static_cast<std::int64_t>(x);
  return x < static_cast<double>(towardsZero) ? towardsZero - 1 : towardsZero;
}

double mixValues(double a, double b, double weight) { return a + (b - a) * weight; }

// Rises from 0 at `low` to 1 at `high`; also accepts low > high, for a falling edge.
double smoothStep(double low, double high, double x) {
  const double t = std::clamp((x - low) / (high - low), 0.0, 1.0);
  return t * t * (3.0 - 2.0 * t);
}

// Fifth order blend, so that the noise has no creases along the lattice lines.
double latticeBlend(double t) { return t * t * t * (t * (t * 6.0 - 15.0) + 10.0); }

double latticeSlope(std::uint64_t cell, double dx, double dy) {
  const std::uint64_t hash = mixBits(cell);
  return (2.0 * upperUnit(hash) - 1.0) * dx + (2.0 * lowerUnit(hash) - 1.0) * dy;
}

// Smooth noise with lattice spacing 1 and standard deviation near a third.
double gradientNoise(std::uint64_t key, double x, double y) {
  constexpr double kLevel = 1.9;
  const std::int64_t column = floorToCell(x);
  const std::int64_t row = floorToCell(y);
  const double dx = x - static_cast<double>(column);
  const double dy = y - static_cast<double>(row);
  const std::uint64_t cell = cellNumber(key, column, row);
  const std::uint64_t below = cell + kRowFactor;
  const double blend = latticeBlend(dx);
  const double top = mixValues(latticeSlope(cell, dx, dy),
                               latticeSlope(cell + kColumnFactor, dx - 1.0, dy), blend);
  const double bottom = mixValues(latticeSlope(below, dx, dy - 1.0),
                                  latticeSlope(below + kColumnFactor, dx - 1.0, dy - 1.0), blend);
  return kLevel * mixValues(top, bottom, latticeBlend(dy));
}

struct Octaves {
  double wavelength;  // of the coarsest one, in pixels; each further one has half of it
  int count;
  double persistence;  // amplitude of an octave relative to the coarser one before
};

// Each octave is turned against the one before, which hides the axes of the lattice.
double octaveNoise(std::uint64_t key, double x, double y, const Octaves& octaves) {
  constexpr double kTurnCos = 1.6;  // rotation by 37 degrees times a frequency ratio of 2
  constexpr double kTurnSin = 1.2;
  double latticeX = x / octaves.wavelength;
  double latticeY = y / octaves.wavelength;
  double amplitude = 1.0;
  double sum = 0.0;
  for (int i = 0; i < octaves.count; ++i) {
    sum += amplitude * gradientNoise(key + static_cast<std::uint64_t>(i), latticeX, latticeY);
    amplitude *= octaves.persistence;
    const double turnedX = kTurnCos * latticeX - kTurnSin * latticeY;
    latticeY = kTurnSin * latticeX + kTurnCos * latticeY;
    latticeX = turnedX;
  }
  return sum;
}

// A round thing (pebble, freckle) scattered over the cells of a square grid.
struct Grain {
  double dx;  // from its centre to the place asked for, in units of its radius
  double dy;
  double radius;
  double tone;  // random in [0, 1)
};

struct GrainField {
  double cell;      // at least twice the largest radius: see findGrain()
  double smallest;  // radii
  double largest;
  double density;   // share of the cells that hold a grain
};

std::optional<Grain> grainOfCell(std::uint64_t key, std::int64_t column, std::int64_t row,
                                 const Point& p, const GrainField& field) {
  const std::uint64_t look = hashCell(key, column, row);
  const double roll = lowerUnit(look);
  if (roll >= field.density) return {};
  const std::uint64_t place = mixBits(look);
  // Small grains are the more frequent ones.
  const double radius = mixValues(field.smallest, field.largest, square(upperUnit(look)));
  const double centreX = (static_cast<double>(column) + upperUnit(place)) * field.cell;
  const double centreY = (static_cast<double>(row) + lowerUnit(place)) * field.cell;
  return Grain{(p.x - centreX) / radius, (p.y - centreY) / radius, radius, roll / field.density};
}

// The grain that covers the place, if there is one; of several the one whose centre is nearest
// in units of its radius. As no radius exceeds half a cell, it lies in one of four cells.
std::optional<Grain> findGrain(std::uint64_t key, const Point& p, const GrainField& field) {
  const std::int64_t column = floorToCell(p.x / field.cell - 0.5);
  const std::int64_t row = floorToCell(p.y / field.cell - 0.5);
  std::optional<Grain> found;
  double least = 1.0;
  for (const std::int64_t r : {row, row + 1}) {
    for (const std::int64_t c : {column, column + 1}) {
      const std::optional<Grain> grain = grainOfCell(key, c, r, p, field);
      if (!grain) continue;
      const double distance = square(grain->dx) + square(grain->dy);
      if (distance >= least) continue;
      least = distance;
      found = grain;
    }
  }
  return found;
}

// ---------------------------------------------------------------- motion over time

struct Tone {
  double amplitude;
  double period;  // in frames
};

using TonePair = std::array<Tone, 2>;

// No two periods have a simple ratio, so that the sums never repeat over a few hundred frames.
constexpr TonePair kShiftX = {{{25.0, 89.3}, {9.0, 53.9}}};
constexpr TonePair kShiftY = {{{16.0, 73.7}, {7.0, 47.3}}};
constexpr TonePair kTurn = {{{0.15, 87.1}, {0.05, 58.7}}};
constexpr TonePair kGrowth = {{{0.07, 101.3}, {0.03, 61.9}}};
constexpr TonePair kSlowBend = {{{6.0, 71.9}, {2.5, 49.9}}};
constexpr TonePair kBeatStrength = {{{0.16, 77.9}, {0.09, 51.1}}};
constexpr TonePair kGainChange = {{{0.07, 109.7}, {0.04, 38.3}}};
constexpr TonePair kOffsetChange = {{{5.0, 94.1}, {3.0, 33.7}}};
constexpr TonePair kGradientTurn = {{{0.8, 131.3}, {0.4, 79.7}}};
constexpr TonePair kDriftX = {{{9.0, 113.9}, {4.0, 69.1}}};
constexpr TonePair kDriftY = {{{7.0, 97.7}, {3.0, 59.3}}};

double seededPhase(unsigned seed, const Tone& tone) {
  // The period names the tone: all of them differ, in the first decimal at the latest.
  constexpr double kPeriodUnits = 10.0;
  const auto name = static_cast<std::int64_t>(std::lround(tone.period * kPeriodUnits));
  return kTwoPi * upperUnit(hashCell(streamKey(seed, Stream::kPhases), name, 0));
}

double phaseAt(unsigned seed, const Tone& tone, int frame) {
  return kTwoPi * frame / tone.period + seededPhase(seed, tone);
}

double sumOfTones(unsigned seed, const TonePair& tones, int frame) {
  double sum = 0.0;
  for (const Tone& tone : tones) sum += tone.amplitude * std::sin(phaseAt(seed, tone, frame));
  return sum;
}

// ---------------------------------------------------------------- geometry of the body

// Body coordinates: u runs along the spine from the snout (0) to the tail, v across it. The unit
// is one pixel at scale 1.
struct BodyPoint {
  double u;
  double v;
};

constexpr double kTailBase = 195.0;  // u where the tail fin begins
constexpr double kPivot = 98.0;      // u of the centre of the turns

// Sideways position of the spine over u, with derivatives.
struct SpineSample {
  double offset;
  double slope;
  double curve;
};

// The spine is a graph over u: a beat that travels towards the tail and grows on its way, plus a
// slow bend of the whole body.
class Spine {
 public:
  Spine(unsigned seed, int frame)
      : beat_(kBeat.amplitude * (kMeanStrength + sumOfTones(seed, kBeatStrength, frame))),
        phase_(phaseAt(seed, kBeat, frame)),
        bend_(sumOfTones(seed, kSlowBend, frame)) {}

  SpineSample at(double u) const {
    const double along = u / kTailBase;
    const double swing = beat_ * (kHeadShare + (1.0 - kHeadShare) * along * along);
    const double swingSlope = beat_ * 2.0 * (1.0 - kHeadShare) * along / kTailBase;
    const double swingCurve = beat_ * 2.0 * (1.0 - kHeadShare) / square(kTailBase);
    const double sine = std::sin(kWaveNumber * u - phase_);
    const double cosine = std::cos(kWaveNumber * u - phase_);
    const double bow = (u - kPivot) / kPivot;
    return {swing * sine + bend_ * bow * bow,
            swingSlope * sine + swing * kWaveNumber * cosine + 2.0 * bend_ * bow / kPivot,
            (swingCurve - swing * square(kWaveNumber)) * sine +
                2.0 * swingSlope * kWaveNumber * cosine + 2.0 * bend_ / square(kPivot)};
  }

 private:
  static constexpr Tone kBeat = {8.0, 34.9};  // amplitude at the tail base
  static constexpr double kMeanStrength = 0.8;
  static constexpr double kHeadShare = 0.12;
  static constexpr double kWaveNumber = kTwoPi / 205.0;

  double beat_;
  double phase_;
  double bend_;
};

// The map between body and picture: the spine carries v along its normals, then the whole is
// scaled, turned and shifted.
class Pose {
 public:
  Pose(unsigned seed, int frame)
      : spine_(seed, frame),
        centre_{kWidth / 2.0 + sumOfTones(seed, kShiftX, frame),
                kHeight / 2.0 + sumOfTones(seed, kShiftY, frame)} {
    const double angle = sumOfTones(seed, kTurn, frame);
    const double scale = 1.0 + sumOfTones(seed, kGrowth, frame);
    axis_ = {scale * std::cos(angle), scale * std::sin(angle)};
  }

  Point toPicture(const BodyPoint& body) const {
    const SpineSample spine = spine_.at(body.u);
    const double reach = body.v / std::sqrt(1.0 + square(spine.slope));
    const double x = body.u - kPivot - reach * spine.slope;
    const double y = spine.offset + reach;
    return {centre_.x + axis_.x * x - axis_.y * y, centre_.y + axis_.y * x + axis_.x * y};
  }

  // The inverse of toPicture(); nothing far from the body, where the normals may cross.
  std::optional<BodyPoint> toBody(const Point& picture) const {
    const Point flat = toFlat(picture);
    if (flat.x < kFlatLeft || flat.x > kFlatRight || std::abs(flat.y) > kFlatReach) return {};
    double u = flat.x;
    for (int i = 0; i < kMostSteps; ++i) {
      const SpineSample spine = spine_.at(u);
      const double above = flat.y - spine.offset;
      const double falling = 1.0 + square(spine.slope) - above * spine.curve;
      if (falling < kLeastFall) return {};
      const double step = (flat.x - u + above * spine.slope) / falling;
      if (std::abs(step) < kSmallStep) {
        return BodyPoint{u + step, distanceToSpine(flat, u, spine)};
      }
      u += step;
    }
    return {};
  }

 private:
  // Box around the body in unbent coordinates, wide enough for fins, bends and shadow.
  static constexpr double kFlatLeft = -20.0;
  static constexpr double kFlatRight = 255.0;
  static constexpr double kFlatReach = 75.0;
  static constexpr int kMostSteps = 12;
  // The steps shrink quadratically, so that after one of this size the error of u is below 1e-4;
  // the distance is stationary at the foot point, hence as exact without another sample.
  static constexpr double kSmallStep = 0.02;
  static constexpr double kLeastFall = 0.2;

  // Undoes shift, turn and scale: x along the unbent spine from the snout, y across it.
  Point toFlat(const Point& picture) const {
    const double dx = picture.x - centre_.x;
    const double dy = picture.y - centre_.y;
    const double squaredScale = square(axis_.x) + square(axis_.y);
    return {(axis_.x * dx + axis_.y * dy) / squaredScale + kPivot,
            (axis_.x * dy - axis_.y * dx) / squaredScale};
  }

  // From the tangent at u, close to the foot of the perpendicular.
  static double distanceToSpine(const Point& flat, double u, const SpineSample& spine) {
    return (flat.y - spine.offset - spine.slope * (flat.x - u)) /
           std::sqrt(1.0 + square(spine.slope));
  }

  Spine spine_;
  Point centre_;
  Point axis_{1.0, 0.0};  // picture of the unit vector along the unbent spine
};

// ---------------------------------------------------------------- shape and marks of the body

struct Mark {
  const char* name;
  BodyPoint place;
};

constexpr Mark kSnout = {"snout", {7.0, 0.0}};
constexpr Mark kEyeLeft = {"eye-left", {31.0, 21.5}};
constexpr Mark kEyeRight = {"eye-right", {31.0, -21.5}};
constexpr Mark kDiscBack = {"disc-back", {77.0, 0.0}};
constexpr Mark kFinLeft = {"fin-left", {88.0, 20.0}};
constexpr Mark kFinRight = {"fin-right", {88.0, -20.0}};
constexpr Mark kSpotLeft = {"spot-left", {114.0, 9.0}};
constexpr Mark kSpotRight = {"spot-right", {130.0, -8.0}};
constexpr Mark kSaddle = {"saddle", {154.0, 0.0}};
constexpr Mark kTailBand = {"tail-base", {190.0, 0.0}};

constexpr std::array<Mark, 10> kMarks = {kSnout,    kEyeLeft,  kEyeRight,  kDiscBack, kFinLeft,
                                         kFinRight, kSpotLeft, kSpotRight, kSaddle,   kTailBand};

constexpr double kHeadEnd = 58.0;  // u of the widest place
constexpr double kWidest = 30.0;   // half widths
constexpr double kNarrowest = 7.0;

double bodyHalfWidth(double u) {
  if (u <= 0.0) return 0.0;
  if (u >= kHeadEnd) {
    return mixValues(kWidest, kNarrowest, smoothStep(kHeadEnd, kTailBase, u));
  }
  const double t = u / kHeadEnd;
  return kWidest * std::sqrt(t * (2.0 - t));
}

// The inside...() functions tell about how many pixels a place lies inside a part of the body;
// negative: outside.
double insideTrunk(const BodyPoint& p) {
  constexpr double kOverlap = 8.0;  // the trunk ends below the tail fin
  if (p.u <= 0.0) return -length(p.u, p.v);
  const double margin = bodyHalfWidth(p.u) - std::abs(p.v);
  return std::min({margin, p.u, kTailBase + kOverlap - p.u});
}

double insideTail(const BodyPoint& p) {
  constexpr double kFinLength = 40.0;
  constexpr double kFinHalfWidth = 27.0;
  constexpr double kNotch = 17.0;
  const double spread = smoothStep(0.0, kFinLength, p.u - kTailBase);
  const double side = mixValues(kNarrowest - 1.0, kFinHalfWidth, spread) - std::abs(p.v);
  const double edge = kTailBase + kFinLength - kNotch * (1.0 - square(p.v / kFinHalfWidth)) - p.u;
  return std::min({side, edge, p.u - kTailBase});
}

// Position on a pectoral fin: along it from the base to the tip, and across.
BodyPoint finCoordinates(const BodyPoint& p) {
  constexpr BodyPoint kFinRoot = {80.0, 20.0};
  constexpr double kSweepCos = 0.8;
  constexpr double kSweepSin = 0.6;
  const double du = p.u - kFinRoot.u;
  const double dv = std::abs(p.v) - kFinRoot.v;
  return {kSweepCos * du + kSweepSin * dv, kSweepCos * dv - kSweepSin * du};
}

double insideFin(const BodyPoint& p) {
  constexpr BodyPoint kHalfAxes = {25.0, 10.0};
  const BodyPoint fin = finCoordinates(p);
  const double radius = length(fin.u / kHalfAxes.u - 1.0, fin.v / kHalfAxes.v);
  return (1.0 - radius) * kHalfAxes.v;
}

double insideBody(const BodyPoint& p) {
  return std::max({insideTrunk(p), insideTail(p), insideFin(p)});
}

double distanceTo(const Mark& mark, const BodyPoint& p) {
  return length(p.u - mark.place.u, p.v - mark.place.v);
}

constexpr double kSoftness = 0.8;  // half the width of an edge

// Weight of a filled disc with a soft edge.
double discWeight(double distance, double radius) {
  return smoothStep(radius + kSoftness, radius - kSoftness, distance);
}

// Weight of a line of the given half width; `distance` may have either sign.
double lineWeight(double distance, double halfWidth) {
  return discWeight(std::abs(distance), halfWidth);
}

struct Keys {
  explicit Keys(unsigned seed)
      : sensor(streamKey(seed, Stream::kSensor)),
        skin(streamKey(seed, Stream::kSkin)),
        blotches(streamKey(seed, Stream::kBlotches)),
        grain(streamKey(seed, Stream::kGrain)),
        rough(streamKey(seed, Stream::kRough)),
        freckles(streamKey(seed, Stream::kFreckles)),
        sand(streamKey(seed, Stream::kSand)),
        ripples(streamKey(seed, Stream::kRipples)),
        outlines(streamKey(seed, Stream::kOutlines)),
        pebbles(streamKey(seed, Stream::kPebbles)) {}

  std::uint64_t sensor;
  std::uint64_t skin;
  std::uint64_t blotches;
  std::uint64_t grain;
  std::uint64_t rough;
  std::uint64_t freckles;
  std::uint64_t sand;
  std::uint64_t ripples;
  std::uint64_t outlines;
  std::uint64_t pebbles;
};

// Grey levels of the body, before the light of the frame.
constexpr double kSkinGrey = 92.0;
constexpr double kPaleGrey = 186.0;
constexpr double kDarkGrey = 28.0;

// Soft mottling with blotches that have edges, darker where the flanks fall away from the light.
double skinTexture(const Keys& keys, const BodyPoint& p) {
  constexpr Octaves kMottling = {36.0, 2, 0.8};
  constexpr double kMottlingContrast = 22.0;
  constexpr Octaves kBlotches = {24.0, 2, 0.6};
  constexpr double kBlotchDepth = 30.0;
  constexpr double kBlotchLow = 0.05;  // levels of the noise between which a blotch sets in
  constexpr double kBlotchHigh = 0.2;
  constexpr double kFlankShade = 24.0;
  const double mottling = kMottlingContrast * octaveNoise(keys.skin, p.u, p.v, kMottling);
  const double blotch = smoothStep(kBlotchLow, kBlotchHigh,
                                   octaveNoise(keys.blotches, p.u, p.v, kBlotches));
  const double across = std::min(std::abs(p.v) / (bodyHalfWidth(p.u) + 1.0), 1.0);
  return kSkinGrey + mottling - kBlotchDepth * blotch - kFlankShade * square(across);
}

// Goes over the marks as well, which otherwise would look printed.
double fineGrain(const Keys& keys, const BodyPoint& p) {
  constexpr Octaves kOctaves = {10.0, 3, 0.8};
  constexpr double kContrast = 17.0;
  return kContrast * octaveNoise(keys.grain, p.u, p.v, kOctaves);
}

// Added to distances, it frays the outlines of the marks.
double roughness(const Keys& keys, const BodyPoint& p) {
  constexpr Octaves kOctaves = {8.0, 2, 0.7};
  constexpr double kAmplitude = 1.3;
  return kAmplitude * octaveNoise(keys.rough, p.u, p.v, kOctaves);
}

double addFreckles(double grey, std::uint64_t key, const BodyPoint& p) {
  constexpr GrainField kField = {7.5, 1.2, 3.2, 0.7};
  constexpr double kPaleShare = 0.4;
  constexpr double kStrength = 0.55;
  const std::optional<Grain> grain = findGrain(key, {p.u, p.v}, kField);
  if (!grain) return grey;
  const double distance = length(grain->dx, grain->dy) * grain->radius;
  const double target = grain->tone < kPaleShare ? kPaleGrey : kDarkGrey;
  return mixValues(grey, target, kStrength * discWeight(distance, grain->radius - kSoftness));
}

// A pale line with a dark lower border runs along each flank; it fades in behind the eye.
double addFlankStripes(double grey, const BodyPoint& p, double rough) {
  constexpr double kPlace = 0.68;  // share of the half width
  constexpr double kHalfWidth = 1.6;
  constexpr double kBorder = 3.2;
  constexpr double kStrength = 0.6;
  constexpr double kFadeStart = 40.0;
  constexpr double kFadeEnd = 60.0;
  const double fade = kStrength * smoothStep(kFadeStart, kFadeEnd, p.u);
  const double offset = std::abs(p.v) - kPlace * bodyHalfWidth(p.u) + rough;
  const double dark = mixValues(grey, kDarkGrey, fade * lineWeight(offset - kBorder, kHalfWidth));
  return mixValues(dark, kPaleGrey, fade * lineWeight(offset, kHalfWidth));
}

// The sucking disc on top of the head: a pale rim around dark slats, parted along the middle.
double addSuckingDisc(double grey, const BodyPoint& p) {
  constexpr BodyPoint kCentre = {44.5, 0.0};
  constexpr BodyPoint kHalfAxes = {29.0, 13.0};
  constexpr double kRim = 0.84;  // share of the half axes
  constexpr double kEdge = 0.07;
  constexpr double kSlatPitch = 5.8;
  constexpr double kSlatSlant = 0.25;
  constexpr double kSlatGrey = 96.0;
  constexpr double kSlatContrast = 46.0;
  constexpr double kPartingHalfWidth = 1.0;
  const double radius =
      length((p.u - kCentre.u) / kHalfAxes.u, (p.v - kCentre.v) / kHalfAxes.v);
  const double slatPhase = kTwoPi / kSlatPitch * (p.u + kSlatSlant * std::abs(p.v));
  const double slats = kSlatGrey + kSlatContrast * std::sin(slatPhase);
  const double parted = mixValues(slats, kPaleGrey, lineWeight(p.v, kPartingHalfWidth));
  const double rimmed = mixValues(kPaleGrey, parted, smoothStep(kRim, kRim - kEdge, radius));
  // Some of the skin shows through, or the disc would look printed.
  constexpr double kCover = 0.75;
  return mixValues(grey, rimmed, kCover * smoothStep(1.0, 1.0 - kEdge, radius));
}

double addRing(double grey, double distance, double outer, double outerGrey, double inner,
               double innerGrey) {
  const double ringed = mixValues(grey, outerGrey, discWeight(distance, outer));
  return mixValues(ringed, innerGrey, discWeight(distance, inner));
}

double addEye(double grey, const Mark& eye, const BodyPoint& p) {
  constexpr double kEyeRadius = 5.6;
  constexpr double kPupilRadius = 3.8;
  constexpr double kGlintShift = 1.4;
  constexpr double kGlintRadius = 0.9;
  const double ringed =
      addRing(grey, distanceTo(eye, p), kEyeRadius, kPaleGrey, kPupilRadius, kDarkGrey);
  const double glint =
      length(p.u - eye.place.u + kGlintShift, p.v - eye.place.v + kGlintShift);
  return mixValues(ringed, kPaleGrey, discWeight(glint, kGlintRadius));
}

// The two pale bands across the back.
double addBands(double grey, const BodyPoint& p, double rough) {
  constexpr double kSaddleHalfWidth = 3.4;
  constexpr double kSaddleSlant = 0.3;
  constexpr double kTailHalfWidth = 2.6;
  constexpr double kStrength = 0.8;
  const double alongSaddle = p.u - kSaddle.place.u + kSaddleSlant * std::abs(p.v) + rough;
  const double alongTail = p.u - kTailBand.place.u + rough;
  const double saddle =
      mixValues(grey, kPaleGrey, kStrength * lineWeight(alongSaddle, kSaddleHalfWidth));
  return mixValues(saddle, kPaleGrey, kStrength * lineWeight(alongTail, kTailHalfWidth));
}

// The dorsal fin, a dark line from above; where it crosses the bands there are two of the points.
double addDorsalFin(double grey, const BodyPoint& p) {
  constexpr double kHalfWidth = 1.3;
  constexpr double kStart = 138.0;
  constexpr double kFade = 4.0;
  const double present = smoothStep(kStart, kStart + kFade, p.u);
  return mixValues(grey, kDarkGrey, present * lineWeight(p.v, kHalfWidth));
}

struct Spot {
  Mark mark;
  double outer;  // radii of the ring and of its filling
  double inner;
  bool darkRing;
};

constexpr std::array<Spot, 6> kSpots = {{{kSnout, 4.0, 2.3, true},
                                         {kDiscBack, 4.6, 2.2, true},
                                         {kFinLeft, 5.8, 2.6, true},
                                         {kFinRight, 5.8, 2.6, true},
                                         {kSpotLeft, 6.8, 4.6, false},
                                         {kSpotRight, 5.8, 3.6, false}}};

double addSpots(double grey, const BodyPoint& p, double rough) {
  double spotted = grey;
  for (const Spot& spot : kSpots) {
    const double ring = spot.darkRing ? kDarkGrey : kPaleGrey;
    const double filling = kDarkGrey + kPaleGrey - ring;
    const double distance = distanceTo(spot.mark, p) + rough;
    spotted = addRing(spotted, distance, spot.outer, ring, spot.inner, filling);
  }
  return spotted;
}

double trunkGrey(const Keys& keys, const BodyPoint& p) {
  const double rough = roughness(keys, p);
  double grey = skinTexture(keys, p);
  grey = addFreckles(grey, keys.freckles, p);
  grey = addFlankStripes(grey, p, rough);
  grey = addSuckingDisc(grey, p);
  grey = addBands(grey, p, rough);
  grey = addDorsalFin(grey, p);
  grey = addSpots(grey, p, rough) + fineGrain(keys, p);
  return addEye(addEye(grey, kEyeLeft, p), kEyeRight, p);
}

// Fins: thin skin with rays that fan out from the base.
double finGrey(const Keys& keys, const BodyPoint& p, double along, double across) {
  constexpr double kRays = 38.0;
  constexpr double kRayContrast = 16.0;
  constexpr double kFanOrigin = 12.0;  // where the rays meet, before the base
  const double fan = std::atan2(across, along + kFanOrigin);
  constexpr Octaves kOctaves = {14.0, 3, 0.7};
  constexpr double kContrast = 22.0;
  return kSkinGrey + kRayContrast * std::sin(kRays * fan) +
         kContrast * octaveNoise(keys.skin, p.u, p.v, kOctaves);
}

struct Layer {
  double cover;  // 0: transparent, 1: opaque
  double grey;
};

Layer layOver(const Layer& below, double cover, double grey) {
  const double total = cover + below.cover * (1.0 - cover);
  if (total <= 0.0) return {0.0, 0.0};
  return {total, (cover * grey + below.cover * (1.0 - cover) * below.grey) / total};
}

double edgeCover(double inside) {
  constexpr double kHalfEdge = 0.6;
  return smoothStep(-kHalfEdge, kHalfEdge, inside);
}

Layer bodyLayer(const Keys& keys, const BodyPoint& p) {
  constexpr double kFinOpacity = 0.85;
  Layer layer{0.0, 0.0};
  const double fin = kFinOpacity * edgeCover(insideFin(p));
  if (fin > 0.0) {
    const BodyPoint place = finCoordinates(p);
    layer = layOver(layer, fin, finGrey(keys, p, place.u, place.v));
  }
  const double tail = kFinOpacity * edgeCover(insideTail(p));
  if (tail > 0.0) layer = layOver(layer, tail, finGrey(keys, p, p.u - kTailBase, p.v));
  const double trunk = edgeCover(insideTrunk(p));
  if (trunk > 0.0) layer = layOver(layer, trunk, trunkGrey(keys, p));
  return layer;
}

// ---------------------------------------------------------------- sea bottom

Point bottomDrift(unsigned seed, int frame) {
  constexpr Point kCurrent = {0.35, -0.15};  // pixels per frame
  return {kCurrent.x * frame + sumOfTones(seed, kDriftX, frame),
          kCurrent.y * frame + sumOfTones(seed, kDriftY, frame)};
}

double rippleGrey(std::uint64_t key, const Point& p) {
  constexpr double kWaveX = kTwoPi / 95.0;
  constexpr double kWaveY = kTwoPi / 34.0;
  constexpr double kWarpLength = 60.0;
  constexpr double kWarp = 3.0;
  constexpr double kHeightOfRipples = 11.0;
  const double warp = kWarp * gradientNoise(key, p.x / kWarpLength, p.y / kWarpLength);
  return kHeightOfRipples * std::sin(kWaveX * p.x + kWaveY * p.y + warp);
}

// Pebbles are lit from the upper left and darken towards their rims.
double addPebbles(double grey, const Keys& keys, const Point& p) {
  constexpr GrainField kField = {19.0, 1.5, 9.5, 0.75};
  constexpr double kBumpLength = 9.0;  // of the unevenness of the outlines
  constexpr double kBump = 2.6;
  constexpr double kDarkest = 70.0;
  constexpr double kPalest = 190.0;
  constexpr double kLit = 26.0;
  constexpr double kRimShade = 34.0;
  constexpr double kShowThrough = 0.8;
  const double bump = kBump * gradientNoise(keys.outlines, p.x / kBumpLength, p.y / kBumpLength);
  const std::optional<Grain> grain = findGrain(keys.pebbles, {p.x + bump, p.y - bump}, kField);
  if (!grain) return grey;
  const double distance = length(grain->dx, grain->dy);
  const double stone = mixValues(kDarkest, kPalest, grain->tone) -
                       kLit * (grain->dx + grain->dy) / 2.0 - kRimShade * square(square(distance));
  // The noise of the sand goes on over the stone as its grain.
  constexpr double kMeanSand = 132.0;
  const double grained = stone + (grey - kMeanSand) / 2.0;
  const double weight = discWeight(distance * grain->radius, grain->radius - 1.0);
  return mixValues(grey, grained, kShowThrough * weight);
}

double bottomGrey(const Keys& keys, const Point& p) {
  constexpr double kSandGrey = 132.0;
  constexpr Octaves kOctaves = {80.0, 6, 0.84};
  constexpr double kContrast = 21.0;
  const double sand = kSandGrey + kContrast * octaveNoise(keys.sand, p.x, p.y, kOctaves);
  return addPebbles(sand + rippleGrey(keys.ripples, p), keys, p);
}

// ---------------------------------------------------------------- light and sensor

class Light {
 public:
  Light(unsigned seed, int frame)
      : gain_(1.0 + sumOfTones(seed, kGainChange, frame)),
        offset_(sumOfTones(seed, kOffsetChange, frame)) {
    constexpr double kSlope = 0.09;  // change of the gain from the centre to the border
    constexpr double kMeanDirection = 0.6;
    const double direction = kMeanDirection + sumOfTones(seed, kGradientTurn, frame);
    slope_ = {kSlope * std::cos(direction) / (kWidth / 2.0),
              kSlope * std::sin(direction) / (kHeight / 2.0)};
  }

  double apply(double grey, const Point& p) const {
    const double local = 1.0 + slope_.x * (p.x - kWidth / 2.0) + slope_.y * (p.y - kHeight / 2.0);
    return gain_ * local * grey + offset_;
  }

 private:
  double gain_;
  double offset_;
  Point slope_{0.0, 0.0};
};

double sensorNoise(std::uint64_t key, int frame, std::int64_t pixel) {
  constexpr double kDeviation = 2.0;
  constexpr double kTiny = 1e-10;  // keeps the logarithm finite
  const std::uint64_t hash = hashCell(key, frame, pixel);
  const double length = std::sqrt(-2.0 * std::log(upperUnit(hash) + kTiny));
  return kDeviation * length * std::cos(kTwoPi * lowerUnit(hash));
}

unsigned char toByte(double grey) {
  constexpr double kWhite = 255.0;
  return static_cast<unsigned char>(std::lround(std::clamp(grey, 0.0, kWhite)));
}

// ---------------------------------------------------------------- one frame

class Painter {
 public:
  Painter(unsigned seed, int frame)
      : frame_(frame),
        keys_(seed),
        pose_(seed, frame),
        light_(seed, frame),
        drift_(bottomDrift(seed, frame)) {}

  unsigned char pixel(int x, int y) const {
    const Point p{static_cast<double>(x), static_cast<double>(y)};
    const Layer body = bodyInPixel(p);
    const double below = body.cover < 1.0 ? shadedBottom(p) : 0.0;
    const double grey = mixValues(below, body.grey, body.cover);
    const double noise = sensorNoise(keys_.sensor, frame_, std::int64_t{y} * kWidth + x);
    return toByte(light_.apply(grey, p) + noise);
  }

  std::vector<Point> points() const {
    std::vector<Point> places;
    for (const Mark& mark : kMarks) places.push_back(pose_.toPicture(mark.place));
    return places;
  }

 private:
  // Mean of 2 x 2 samples; their grey levels count by their cover.
  Layer bodyInPixel(const Point& p) const {
    constexpr double kFarOutside = -3.0;
    constexpr double kSubPixel = 0.25;
    const std::optional<BodyPoint> middle = pose_.toBody(p);
    if (!middle || insideBody(*middle) < kFarOutside) return {0.0, 0.0};
    double cover = 0.0;
    double sum = 0.0;
    for (const double dy : {-kSubPixel, kSubPixel}) {
      for (const double dx : {-kSubPixel, kSubPixel}) {
        const std::optional<BodyPoint> sample = pose_.toBody({p.x + dx, p.y + dy});
        if (!sample) continue;
        const Layer layer = bodyLayer(keys_, *sample);
        cover += layer.cover;
        sum += layer.cover * layer.grey;
      }
    }
    constexpr double kSamples = 4.0;
    return cover > 0.0 ? Layer{cover / kSamples, sum / cover} : Layer{0.0, 0.0};
  }

  double shadedBottom(const Point& p) const {
    constexpr Point kShadowShift = {7.0, 11.0};
    constexpr double kShadowDepth = 0.3;
    constexpr double kShadowOuter = -9.0;  // soft edge, in pixels inside the body
    constexpr double kShadowInner = 5.0;
    const double grey = bottomGrey(keys_, {p.x + drift_.x, p.y + drift_.y});
    const std::optional<BodyPoint> caster =
        pose_.toBody({p.x - kShadowShift.x, p.y - kShadowShift.y});
    if (!caster) return grey;
    return grey * (1.0 - kShadowDepth * smoothStep(kShadowOuter, kShadowInner,
                                                   insideBody(*caster)));
  }

  int frame_;
  Keys keys_;
  Pose pose_;
  Light light_;
  Point drift_;
};

std::vector<std::string> namesOfMarks() {
  std::vector<std::string> names;
  for (const Mark& mark : kMarks) names.emplace_back(mark.name);
  return names;
}

}  // namespace

Scene::Scene(unsigned seed) : seed_(seed) {}

const std::vector<std::string>& Scene::pointNames() {
  static const std::vector<std::string> names = namesOfMarks();
  return names;
}

SceneFrame Scene::render(int frame) const {
  const Painter painter(seed_, frame);
  SceneFrame picture{kWidth, kHeight, {}, painter.points()};
  picture.grey.reserve(static_cast<std::size_t>(kWidth) * kHeight);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) picture.grey.push_back(painter.pixel(x, y));
  }
  return picture;
}

}  // namespace remora::tools
