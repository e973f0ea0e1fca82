"""Tracks image files with a model: python3 images.py MODEL TRACKS.csv IMAGE..."""
import sys

import remora

model = remora.Model(sys.argv[1])
tracker = remora.Tracker(model)
shapes = [tracker.next(remora.load_picture(file)) for file in sys.argv[3:]]
remora.write_tracks(remora.Tracks.of(model.point_names, shapes), sys.argv[2])
