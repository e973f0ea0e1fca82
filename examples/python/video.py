"""Tracks a video file with a model: python3 video.py MODEL VIDEO TRACKS.csv"""
import sys

import cv2
import remora

model = remora.Model(sys.argv[1])
video = cv2.VideoCapture(sys.argv[2])
tracker, shapes = remora.Tracker(model), []
more, frame = video.read()
while more:
    shapes.append(tracker.next(frame[:, :, ::-1]))  # OpenCV has blue first
    more, frame = video.read()
remora.write_tracks(remora.Tracks.of(model.point_names, shapes), sys.argv[3])
