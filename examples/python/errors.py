"""Trains on every other frame of a table of positions, and plots how far off the others are tracked.

python3 errors.py BASE TABLE.csv ERRORS.png      (frames are BASE.nnnnn.png)

The cells run one by one in an editor that knows "# %%".
"""
# %% The table: frame, name, x, y
import sys
import tempfile

import matplotlib
import numpy as np
import pandas
import remora

matplotlib.use("Agg")
import matplotlib.pyplot as plt

base, table, picture = sys.argv[1:]
known = remora.Annotations.from_pandas(pandas.read_csv(table))
frames = {int(n): remora.load_picture(f"{base}.{n:05d}.png") for n in known.frames}

# %% Train on every other frame
positions = known.by_frame()
learnt = dict(list(positions.items())[::2])
folder = tempfile.mkdtemp()
result = remora.train(frames, learnt, folder, points=known.names)
print("residuals:", dict(zip(known.names, result.residuals.round(2))))

# %% Track all
tracker = remora.Tracker(remora.Model(folder))
tracker.start(known.xy[0])
tracks = remora.Tracks.of(known.names, [tracker.next(frame) for frame in frames.values()])

# %% Distances of the frames that training has not seen, in pixels
distances = pandas.DataFrame(
    np.linalg.norm(tracks.xy - known.xy, axis=2), index=known.frames, columns=known.names
).drop(index=list(learnt))
print(distances.describe().round(3))

# %% Plot
distances.plot(xlabel="frame", ylabel="error (px)", title="frames that training has not seen")
plt.savefig(picture)
