"""What pictures show: colours that outliers do not take, blank seas, cuts inside the map, terrain over a mesh file."""

import warnings

import matplotlib.pyplot as plt
import numpy as np
import pytest

import velko
import velko.plot


def survey(values, x=None, y=None, **more):
    count = len(values)
    side = int(np.ceil(np.sqrt(count)))
    x = np.arange(count) % side * 10.0 if x is None else x
    y = np.arange(count) // side * 10.0 if y is None else y
    return velko.Survey(x, y, np.full(count, 5.0), 64, -5, 50500, values=values, **more)


def bar_of(axes):
    return axes.figure.axes[-1]


def colours_of(axes):
    return axes.collections[0]


def test_functions_give_their_axes_back_and_draw_into_given_ones():
    axes = plt.subplots()[1]
    assert velko.plot.data(survey(np.arange(36.0)), ax=axes) is axes
    three = velko.plot.model("survey.mtx", "survey.sus")
    assert three.plan.figure is three.across.figure and three._fields == ("plan", "across", "along")
    assert len(velko.plot.sections("survey.mtx", "survey.sus", y=[15, 25], x=45)) == 3


def test_an_outlier_does_not_hide_the_survey():
    values = np.sin(np.arange(400.0))
    values[7] = 1e5
    axes = velko.plot.data(survey(values))
    assert -2 < bar_of(axes).get_ylim()[0] < bar_of(axes).get_ylim()[1] < 2
    assert "colours from percentile 1 to 99" in bar_of(axes).get_ylabel()
    assert axes.get_title() == "400 data, -1 to 100000 nT"


def test_all_values_have_colours_where_none_is_far_out():
    axes = velko.plot.data(survey(np.linspace(-50, 90, 400)))
    assert bar_of(axes).get_ylim() == (-90, 90) and bar_of(axes).get_ylabel() == "magnetic anomaly (nT)"


def test_colours_are_not_wasted_on_a_sign_that_hardly_counts():
    axes = velko.plot.data(survey(np.linspace(-155, 1539, 400)))
    low, high = bar_of(axes).get_ylim()
    assert -300 < low <= -155 and 1539 <= high < 1700


def test_range_and_equalisation():
    values = np.exp(np.linspace(0, 6, 400))
    assert bar_of(velko.plot.data(survey(values), limits=(10, 20))).get_ylim() == (10, 20)
    axes = velko.plot.data(survey(values), equalise=True)
    norm = colours_of(axes).norm
    counts = np.histogram(values, norm.boundaries)[0]
    assert counts.max() <= counts.min() + 2 and "equalised" in bar_of(axes).get_ylabel()
    with pytest.raises(ValueError, match="goes from less to more"):
        velko.plot.data(survey(values), limits=(2, 1))


def drawn_area(axes):
    triangles = colours_of(axes)._triangulation
    corners = np.stack((triangles.x, triangles.y))[:, triangles.get_masked_triangles()]
    (ax, ay), (bx, by), (cx, cy) = corners.transpose(2, 0, 1)
    return float(np.abs((bx - ax) * (cy - ay) - (cx - ax) * (by - ay)).sum() / 2)


def test_a_sea_between_two_islands_stays_blank():
    x = np.concatenate([np.arange(400) % 20 * 10.0, 5000 + np.arange(400) % 20 * 10.0])
    y = np.tile(np.arange(400) // 20 * 10.0, 2)
    islands = survey(np.arange(800.0), x, y)
    assert drawn_area(velko.plot.data(islands)) == pytest.approx(2 * 190**2)
    assert drawn_area(velko.plot.data(islands, blank=5000)) == pytest.approx(5190 * 190)


def test_field_is_told_on_the_map():
    axes = velko.plot.data(survey(np.arange(36.0), aincl=90, adecl=0))
    said = [text.get_text() for text in axes.texts]
    assert "field 50500 nT, inclination 64°, declination -5°; component 90°, 0°" in said


def test_flight_lines_have_no_lines_and_hardly_dots_over_them():
    count = 37000
    rng = np.random.default_rng(1)
    axes = velko.plot.data(survey(rng.normal(size=count), rng.uniform(0, 1e5, count), rng.uniform(0, 1e5, count)))
    assert len(axes.collections) == 1 and axes.lines[0].get_markersize() < 0.5


MESH = velko.Mesh([50, 10, 10, 50], [10] * 3, [10, 10, 40], origin=(0, 0, 20))


def test_default_cut_lies_inside_the_map():
    """The most anomalous cell of all is in the padding."""
    model = np.full(MESH.shape, 0.01)
    model[1, 0, 1], model[2, 2, 0] = 0.9, 0.5
    axes = velko.plot.model(MESH, model)
    low, high = axes.plan.get_xlim()
    assert (low, high) == (50, 70) and axes.along.get_title() == "x = 65 m"


def test_titles_keep_positions():
    mesh = velko.Mesh([125.0] * 200, [125.0] * 4, [50.0] * 2, origin=(523000, 0, 0))
    axes = velko.plot.model(mesh, np.zeros(mesh.shape), x=540_437.5)
    assert axes.along.get_title() == "x = 540.438 km"


def test_air_is_blank_where_a_mesh_file_comes_with_a_topography():
    axes = velko.plot.model("survey.mesh", "survey.sus", topography="survey.topography", y=85)
    shown = axes.across.collections[0].get_array().reshape(8, 16).T
    expected = ~velko.read_mesh("survey.mtx").below[8]
    np.testing.assert_array_equal(np.ma.getmaskarray(shown), expected)
    assert expected.any()


def test_terrain_is_the_surface_through_the_points():
    axes = velko.plot.model("survey.mtx", "survey.sus", topography="survey.topography", y=85)
    x, z = axes.across.lines[1].get_data()
    hill = 10 + 25 * np.exp(-((x - 70) ** 2 + (85 - 90) ** 2) / 60**2)
    assert np.abs(z - hill).max() < 5


def test_values_that_cannot_be_drawn_are_refused():
    with pytest.raises(ValueError, match="not finite"):
        velko.plot.data(survey([1.0, np.nan, 2.0]))
    with pytest.raises(ValueError, match="not finite"):
        velko.plot.model(MESH, np.full(MESH.shape, np.inf))
    with pytest.raises(ValueError, match="36 stations"):
        velko.plot.data("survey.vlk", [1.0])
    with pytest.raises(ValueError, match="x lies outside of the mesh"):
        velko.plot.model(MESH, np.zeros(MESH.shape), x=-1)


def test_pictures_of_uniform_values_are_drawn_without_a_warning():
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        for value in (0.0, 7.0, -7.0):
            for equalise in (False, True):
                velko.plot.data(survey(np.full(36, value)), equalise=equalise).figure.canvas.draw()
            velko.plot.model(MESH, np.full(MESH.shape, value)).plan.figure.canvas.draw()
