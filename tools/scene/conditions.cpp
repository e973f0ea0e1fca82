#include "scene/conditions.h"

#include <algorithm>
#include <cmath>

#include "scene/curves.h"

namespace remora::tools::scene {
namespace {

constexpr double kDegree = kTwoPi / 360.0;
constexpr int kLastMildFrame = 119;
constexpr int kLastFrame = 239;

// How strong the variant is: from 0 in the last mild frame to 1 in frame `full`.
double growth(const Moment& moment, int full) {
  return smoothStep(kLastMildFrame, full, moment.frame);
}

// A number from 0 to 1 that depends on the seed.
double choice(const Moment& moment, int which) {
  return randomUnit(streamKey(moment.seed, Stream::kVariant), which, 0);
}

double side(const Moment& moment) { return choice(moment, 0) < 0.5 ? -1.0 : 1.0; }

constexpr double kSwingPeriod = 80.0;
constexpr int kSwingFull = kLastFrame - 40;

// An oscillation that is at its ends in the last frame and half a period before.
double swing(const Moment& moment) {
  return side(moment) * std::cos(kTwoPi / kSwingPeriod * (moment.frame - kLastFrame));
}

// From a mild value to a strong one, in time for both ends of the swing.
double grown(const Moment& moment, double mild, double strong) {
  return mixValues(mild, strong, growth(moment, kSwingFull));
}

Light changingLight(const Moment& moment) {
  return {1.0 + moment.sway(0.07, 109.7),
          {moment.sway(0.06, 131.3) / kMiddle.x, moment.sway(0.06, 79.7) / kMiddle.y},
          moment.sway(5.0, 94.1)};
}

// The offset works against the gain, so that little is too bright or too dark for the sensor.
Light strongLight(const Moment& moment) {
  constexpr double kGradient = 0.25;
  const Light mild = changingLight(moment);
  const double drift = 0.9 * swing(moment) + 0.1 * std::sin(moment.phase(13.3));
  const double offset = -0.65 * drift + 0.35 * std::sin(moment.phase(57.7));
  const double slant = moment.phase(143.9);
  return {grown(moment, mild.gain, 1.05 + 0.55 * drift),
          {grown(moment, mild.slope.x, kGradient / kMiddle.x * std::cos(slant)),
           grown(moment, mild.slope.y, kGradient / kMiddle.y * std::sin(slant))},
          grown(moment, mild.offset, 35.0 * offset)};
}

double turnAngle(const Moment& moment) {
  return grown(moment, moment.sway(6.0 * kDegree, 87.1), 60.0 * kDegree * swing(moment));
}

// The fish is small throughout, as it must not grow out of the picture.
double zoomScale(const Moment& moment) {
  constexpr double kSmall = 0.55;
  constexpr double kLarge = 1.8;
  const double strong = mixValues(kSmall, kLarge, 0.5 + 0.5 * swing(moment));
  return 0.8 * grown(moment, 1.0 + moment.sway(0.06, 101.3), strong);
}

Tilt tiltAbout(const Point& pivot, const Moment& moment) {
  const double angle =
      grown(moment, moment.sway(7.0 * kDegree, 67.3), 48.0 * kDegree * swing(moment));
  const double turn = moment.phase(167.9);
  return {pivot, {std::cos(turn), std::sin(turn)}, angle};
}

// A small fish on an ellipse, at a speed that grows evenly.
Pose circlingPose(const Moment& moment) {
  constexpr Point kRadii = {104.0, 96.0};
  constexpr double kSlow = 0.03;  // radians per frame
  constexpr double kFast = 0.38;
  constexpr int kGrowing = kLastFrame - kLastMildFrame;
  const int late = std::max(moment.frame - kLastMildFrame, 0);
  const int growing = std::min(late, kGrowing);
  const double gained = 0.5 * square(growing) / kGrowing + (late - growing);
  const double angle =
      kTwoPi * choice(moment, 1) + side(moment) * (kSlow * moment.frame + (kFast - kSlow) * gained);
  Pose pose = swayingPose(moment);
  pose.centre = {kMiddle.x + kRadii.x * std::cos(angle), kMiddle.y + kRadii.y * std::sin(angle)};
  pose.scale *= 0.7;
  return pose;
}

}  // namespace

Conditions conditionsOf(SceneVariant variant, const Moment& moment) {
  Conditions conditions{swayingPose(moment), changingLight(moment), {}, {}};
  switch (variant) {
    case SceneVariant::kPlain:
      break;
    case SceneVariant::kLight:
      conditions.light = strongLight(moment);
      break;
    case SceneVariant::kTurn:
      conditions.pose.angle = turnAngle(moment);
      break;
    case SceneVariant::kZoom:
      conditions.pose.scale = zoomScale(moment);
      conditions.shrinks = true;
      break;
    case SceneVariant::kTilt:
      conditions.tilt = tiltAbout(conditions.pose.centre, moment);
      conditions.shrinks = true;
      break;
    case SceneVariant::kHide:
      conditions.planks = planksAt(moment);
      break;
    case SceneVariant::kFast:
      conditions.pose = circlingPose(moment);
      break;
    case SceneVariant::kNoise:
      conditions.noise = 18.0 * growth(moment, kLastFrame);
      break;
  }
  return conditions;
}

}  // namespace remora::tools::scene
