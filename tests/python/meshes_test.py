"""Meshes and surveys as values: orders of models there and back, and what they refuse."""

import numpy as np
import pandas
import pytest
from hypothesis import given, settings
from hypothesis import strategies as st
from hypothesis.extra.numpy import arrays

import velko

COUNTS = st.integers(1, 4)


@st.composite
def meshes(draw):
    nx, ny, nz = draw(COUNTS), draw(COUNTS), draw(COUNTS)
    surface = draw(arrays(int, (ny, nx), elements=st.integers(0, nz)))
    return velko.Mesh([1.5] * nx, [2.5] * ny, [0.5] * nz, (3, 4, 5), surface)


@settings(deadline=None)
@given(meshes(), st.randoms())
def test_vectors_become_arrays_and_come_back(mesh, random):
    for order, size in (("surface", mesh.nbelow), ("model", mesh.ncells)):
        vector = np.array([random.random() for _ in range(size)])
        array = mesh.to_array(vector, order)
        np.testing.assert_array_equal(array.mask, ~mesh.below)
        back = mesh.to_vector(array, order)
        np.testing.assert_array_equal(back, vector if order == "surface" else np.where(mesh.below.ravel(), vector, 0))


@settings(deadline=None)
@given(meshes())
def test_surface_order_is_model_order_without_air(mesh):
    number = iter(range(mesh.nbelow))
    ny, nx, nz = mesh.shape
    expected = [[[next(number) if k >= mesh.surface[i, j] else None for k in range(nz)] for j in range(nx)] for i in range(ny)]
    assert mesh.to_array(np.arange(float(mesh.nbelow)), "surface").tolist() == expected


def test_meshes_refuse_what_is_none():
    for bad in ([], [0.0], [-1.0], [np.nan], [np.inf]):
        with pytest.raises(ValueError, match="the mesh has"):
            velko.Mesh([1], bad, [1])
    for surface in ([[0]], [[0, 3]], [[-1, 0]], [[0.5, 0]]):
        with pytest.raises(ValueError, match="the surface"):
            velko.Mesh([1, 1], [1], [1, 1], surface=surface)
    mesh = velko.Mesh([1, 1], [1], [1, 1])
    with pytest.raises(ValueError, match="has 3 values"):
        mesh.to_array([1, 2, 3])
    with pytest.raises(ValueError, match="shape"):
        mesh.to_vector(np.zeros((2, 1, 2)))


def test_arrays_of_meshes_and_surveys_cannot_be_written():
    mesh = velko.Mesh([1, 1], [1], [1, 1], surface=[[0, 1]])
    survey = velko.Survey([0.0], [0], [0], 60, 0, 5e4, values=[1])
    for array in (mesh.x, mesh.dz, mesh.surface, survey.x, survey.values):
        with pytest.raises(ValueError):
            array[...] = 0


def test_edges_give_the_widths():
    mesh = velko.Mesh.from_edges([0, 1, 3], [5, 6], [10, 8, 4], [[0, 1]])
    assert (mesh.dx.tolist(), mesh.depth.tolist(), mesh.top, mesh.z.tolist()) == ([1, 2], [0, 2, 6], 10, [10, 8, 4])


def test_surveys_refuse_what_is_none():
    for arguments in ({"x": []}, {"y": [0]}, {"values": [1]}, {"values": [1, 2], "deviations": [1, 0]}, {"deviations": [1, 1]},
                      {"aincl": [1, 2, 3]}):
        with pytest.raises(ValueError):
            velko.Survey(**{"x": [0, 1], "y": [0, 1], "z": [0, 0], "incl": 60, "decl": 0, "geomag": 5e4, **arguments})


def test_surveys_go_through_pandas():
    survey = velko.Survey([0, 1], [2, 3], [4, 5], 60, 1, 5e4, [50, 51], 0, [7, 8], [1, 2])
    back = velko.Survey.from_pandas(survey.to_pandas())
    for name in ("x", "y", "z", "incl", "decl", "geomag", "aincl", "adecl", "values", "deviations"):
        np.testing.assert_array_equal(getattr(back, name), getattr(survey, name))
    with pytest.raises(ValueError, match="does not tell incl, decl, geomag"):
        velko.Survey.from_pandas(pandas.DataFrame({"x": [0], "y": [0], "z": [0]}))


def test_air_is_nan_in_xarray():
    mesh = velko.Mesh([1, 1], [1], [1, 1], surface=[[0, 1]])
    found = mesh.to_xarray([1, 2, 3])
    np.testing.assert_array_equal(found.values, [[[1, 2], [np.nan, 3]]])
    assert found.dims == ("y", "x", "z") and found.z.values.tolist() == [-0.5, -1.5]


def test_models_go_to_xarray_and_back():
    mesh = velko.read_mesh("survey.mtx")
    model = velko.read_model("survey.sus", mesh)
    array = mesh.to_xarray(model)
    assert np.isnan(array.to_numpy()).sum() == mesh.ncells - mesh.nbelow
    np.testing.assert_array_equal(mesh.from_xarray(array.transpose("x", "z", "y")), model)
    with pytest.raises(ValueError, match="along x are not the middles"):
        mesh.from_xarray(array.assign_coords(x=array["x"] + 3))
    with pytest.raises(ValueError, match="along z are not the middles"):
        mesh.from_xarray(array.isel(z=slice(1, None)))


def test_data_go_to_a_map_and_back():
    survey = velko.read_predicted("survey.vlk")
    grid = survey.to_xarray()
    assert grid.dims == ("y", "x") and grid.attrs["incl"] == 62 and grid.attrs["units"] == "nT"
    for x, y, value in zip(survey.x, survey.y, survey.values):
        assert grid.sel(x=x, y=y).item() == value
    again = velko.Survey.from_xarray(grid.transpose("x", "y"), z=75)
    for name in ("x", "y", "z", "values", "incl", "decl", "geomag"):
        np.testing.assert_array_equal(getattr(again, name), getattr(survey, name))


def test_data_that_lie_on_no_grid_are_interpolated():
    rng = np.random.default_rng(2)
    x, y = rng.uniform(0, 100, (2, 300))
    plane = velko.Survey(x, y, np.zeros(300), 62, 4, 5e4, values=3 + 0.5 * x - 0.2 * y)
    with pytest.raises(velko.Error, match="do not lie on a grid along x and y; a spacing interpolates"):
        plane.to_xarray()
    grid = plane.to_xarray(spacing=7)
    expected = 3 + 0.5 * grid["x"] - 0.2 * grid["y"]
    inside = np.isfinite(grid.to_numpy())
    assert inside.mean() > 0.7
    np.testing.assert_allclose(grid.to_numpy()[inside], expected.transpose("y", "x").to_numpy()[inside])
    with pytest.raises(ValueError, match="positive length"):
        plane.to_xarray(spacing=-1)
    with pytest.raises(ValueError, match="no values"):
        plane.with_values(None).to_xarray()


def test_nodes_without_a_value_are_no_stations():
    import xarray

    grid = xarray.DataArray([[1.0, np.nan], [3.0, 4.0]], coords={"y": [0.0, 10.0], "x": [0.0, 5.0]}, dims=("y", "x"))
    heights = xarray.DataArray([[7.0, 8.0], [9.0, 10.0]], coords=grid.coords, dims=grid.dims)
    survey = velko.Survey.from_xarray(grid, heights.T, incl=60, decl=0, geomag=5e4)
    assert survey.values.tolist() == [1, 3, 4] and survey.z.tolist() == [7, 9, 10]
    with pytest.raises(ValueError, match="the map does not tell incl, decl, geomag"):
        velko.Survey.from_xarray(grid, 0.0)
