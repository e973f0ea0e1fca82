"""Shows what a camera sees, and the points of a model in it: python3 live.py MODEL [CAMERA]

Escape ends it; the space bar looks for the shape anew.
"""
import argparse
import sys

import cv2
import remora

COLOURS = {
    remora.Status.TRACKED: (0, 255, 255),
    remora.Status.OCCLUDED: (0, 165, 255),
    remora.Status.LOST: (0, 0, 255),
}
ESCAPE, SPACE = 27, 32


def draw(frame, shape):
    for (x, y), status in zip(shape.xy, shape.status):
        if x == x:  # nan until the shape was seen
            cv2.circle(frame, (round(x), round(y)), 4, COLOURS[status], 2)


def main():
    parser = argparse.ArgumentParser(description="Shows the points of a model in a camera's picture.")
    parser.add_argument("model", help="folder of the model")
    parser.add_argument("camera", nargs="?", type=int, default=0, help="its number (default: 0)")
    options = parser.parse_args()
    tracker = remora.Tracker(remora.Model(options.model), most_work=8)
    camera = cv2.VideoCapture(options.camera)
    key = None
    while key != ESCAPE:
        more, frame = camera.read()
        if not more:
            sys.exit(f"camera {options.camera} gives no picture")
        look = tracker.find if key == SPACE else tracker.next
        draw(frame, look(frame[:, :, ::-1]))  # OpenCV has blue first
        cv2.imshow("remora", frame)
        key = cv2.waitKey(1) & 0xFF


if __name__ == "__main__":
    try:
        main()
    except remora.Error as error:
        sys.exit(f"live.py: {error}")
