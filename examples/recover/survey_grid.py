"""The synthetic survey of examples/make_survey.py as arrays: what the scripts of this folder know of the truth."""

import pathlib
import sys

import numpy as np

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import make_survey  # noqa: E402: after its folder is on the path

SOUTH = WEST = -sum(make_survey.PADDING)
X_EDGES = np.array(make_survey.edges(WEST, make_survey.ALONG_X))
Y_EDGES = np.array(make_survey.edges(SOUTH, make_survey.ALONG_Y))
DEPTH_EDGES = np.array(make_survey.edges(0.0, make_survey.DOWN))
X, Y, DEPTH = (np.array(make_survey.centres(edges)) for edges in (X_EDGES, Y_EDGES, DEPTH_EDGES))
SHAPE = (len(Y), len(X), len(DEPTH))  # model order: depth fastest
VOLUME = np.einsum("i,j,k->ijk", np.diff(Y_EDGES), np.diff(X_EDGES), np.diff(DEPTH_EDGES))
CENTRES = np.stack(np.meshgrid(Y, X, DEPTH, indexing="ij"), axis=-1)[..., [1, 0, 2]]  # x, y, depth of each cell
BODY = np.array([str(make_survey.body_at(*centre)) for centre in CENTRES.reshape(-1, 3)]).reshape(SHAPE)
BODIES = [name for name in make_survey.SUSCEPTIBILITY if name]


def read_model(name):
    return np.loadtxt(name).reshape(SHAPE)
