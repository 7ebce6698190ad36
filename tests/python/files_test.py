"""Every file of the suite, read and written: what is written reads back the same, and what is wrong is told in words."""

import os
import pathlib
import pickle
import warnings

import numpy as np
import pytest
from hypothesis import HealthCheck, given, settings
from hypothesis import strategies as st
from hypothesis.extra.numpy import arrays

import velko

IN_ONE_FOLDER = settings(max_examples=30, deadline=None, suppress_health_check=[HealthCheck.function_scoped_fixture])
NUMBERS = st.floats(-1e12, 1e12, allow_subnormal=False)


def widths(most=5):
    return arrays(float, st.integers(1, most), elements=st.floats(1e-3, 1e4))


@IN_ONE_FOLDER
@given(widths(), widths(), widths(), st.tuples(NUMBERS, NUMBERS, NUMBERS))
def test_mesh_reads_back_the_same(dx, dy, dz, origin):
    mesh = velko.Mesh(dx, dy, dz, origin)
    velko.write_mesh("a.mesh", mesh)
    assert velko.read_mesh("a.mesh") == mesh


@IN_ONE_FOLDER
@given(st.data())
def test_model_reads_back_the_same(data):
    mesh = velko.Mesh([1] * 3, [1] * 2, [1] * 4)
    model = data.draw(arrays(float, mesh.shape, elements=NUMBERS))
    velko.write_model("a.sus", model)
    np.testing.assert_array_equal(velko.read_model("a.sus", mesh).filled(), model)


@IN_ONE_FOLDER
@given(arrays(np.int32, (2, 3, 4), elements=st.integers(-1, 1)))
def test_active_cells_read_back_the_same(active):
    velko.write_active("a.active", active)
    np.testing.assert_array_equal(velko.read_active("a.active", velko.Mesh([1] * 3, [1] * 2, [1] * 4)), active)


@IN_ONE_FOLDER
@given(arrays(float, (4, 7), elements=NUMBERS), st.booleans())
def test_data_read_back_the_same(table, each_direction):
    x, y, z, aincl, adecl, values, deviations = table.T
    survey = velko.Survey(x, y, z, 60, 5, 5e4, aincl if each_direction else 61, adecl if each_direction else 6, values,
                          1 + abs(deviations))
    velko.write_data("a.obs", survey)
    found = velko.read_data("a.obs")
    for name in ("x", "y", "z", "incl", "decl", "geomag", "aincl", "adecl", "values", "deviations"):
        np.testing.assert_array_equal(getattr(found, name), getattr(survey, name))
    assert velko.read_locations("a.obs").values is None
    velko.write_locations("a.loc", survey)
    np.testing.assert_array_equal(velko.read_survey("a.loc").z, z)


@IN_ONE_FOLDER
@given(arrays(float, st.tuples(st.integers(0, 5), st.just(3)), elements=NUMBERS))
def test_topography_reads_back_the_same(points):
    velko.write_topography("a.topography", points)
    np.testing.assert_array_equal(velko.read_topography("a.topography"), points)


def test_predicted_data_have_the_bytes_of_velkrund():
    velko.write_predicted("a.vlk", velko.read_predicted("survey.vlk"))
    with_nine_digits = velko.read_locations("survey.loc")
    G = velko.open("survey.mtx")
    velko.write_predicted("b.vlk", with_nine_digits, G @ G.vector(velko.read_model("survey.sus", G.mesh)))
    expected = pathlib.Path("survey.vlk").read_bytes()
    assert pathlib.Path("a.vlk").read_bytes() == expected
    assert pathlib.Path("b.vlk").read_bytes() == expected


def test_columns_are_those_of_the_first_data_line():
    head = "60 5 5e4\n60 5 1\n1\n"
    for line, values, deviations in (("1 2 3", None, None), ("1 2 3 -7 !", [-7], None), ("1 2 3 -7 2 more", [-7], [2]),
                                     ("1,2,3 / 4 5", None, None), ("1 2 3 4D0 5", [4], [5])):
        pathlib.Path("a").write_text(head + line + "\n")
        survey = velko.read_survey("a")
        assert [survey.values, survey.deviations] == [values, deviations]


def failure_of(read, *arguments):
    with pytest.raises(velko.FileError) as caught:
        read(*arguments)
    return caught.value


def told(error):
    return error.file, error.words, error.line, error.column, error.text, error.cause


def test_file_that_is_not_there_has_no_line():
    error = failure_of(velko.read_survey, "none")
    assert told(error) == ("none", "ERROR: data file not found: none", None, None, None, None)
    assert str(error) == "ERROR: data file not found: none"


HEAD = "60 5 5e4\n60 5 1\n2\n"
SMALL = velko.Mesh([1, 1], [1], [1, 1])


@pytest.mark.parametrize("read, text, words, line, column, quoted, cause", [
    (velko.read_survey, HEAD + "1 2 3\n1 two 3\n", "ERROR reading data file a", 5, 3, "1 two 3",
     "line 5, column 3: 'two' where y of datum 2 is wanted"),
    (velko.read_predicted, HEAD + "1 2 3 4\n1 2 3 x4\n", "ERROR reading data file a", 5, 7, "1 2 3 x4",
     "line 5, column 7: 'x4' where the value of datum 2 is wanted"),
    (velko.read_data, HEAD + "1 2 3 4 5\n1 2 3 4 -5\n", "ERROR: standard deviation should be greater than 0.", 5, 9, "1 2 3 4 -5",
     "line 5, column 9: '-5' where the standard deviation of datum 2 is wanted; it has to be above 0"),
    (velko.read_survey, HEAD + "1 2 3 4 5\n! six\n1 2 3 4\n", "ERROR reading data file a", 6, None, "1 2 3 4",
     "line 6 ends where the standard deviation of datum 2 is wanted"),
    (velko.read_survey, "60 5 5e4\n60 5 2\n1\n", "ERROR: idir in data file should be 0 or 1.", 2, 6, "60 5 2",
     "line 2, column 6: '2' where idir, 0 or 1, is wanted; three lines stand in front of the data, the field, what is measured, "
     "the number of data; is one of them missing?"),
    (velko.read_survey, HEAD + "1 2 3\n", "ERROR: end reached when reading data file a", None, None, None,
     "the file ends where the line of datum 2 is wanted; line 3 promises 2 data, and lines for 1 are there"),
    (velko.read_survey, "60 5 5e4\n60 5 1\n0\n", "ERROR: Number of data should be positive.", 3, None, "0",
     "line 3: the number of data is 0"),
    (velko.read_mesh, "2 1 2\n0 0 0\n1 1\r\n1\n1 wide\r\n", "ERROR reading mesh file: a", 5, 3, "1 wide",
     "line 5, column 3: 'wide' where width 2 along z is wanted"),
    (lambda file: velko.read_model(file, SMALL), "0.1\n0.2\n0,3 ok\nhalf\n", "ERROR reading model file a", 4, 1, "half",
     "line 4, column 1: 'half' where value 4 of 4 is wanted"),
    (lambda file: velko.read_model(file, SMALL), "0.1\n0.2\n", "ERROR: end reached reading model file a", None, None, None,
     "the file ends where value 3 of 4 is wanted; the mesh has as many cells"),
    (lambda file: velko.read_model(file, SMALL), "1\n2\n3\n4\n5\n", "ERROR: too many values in model file a", 5, None, "5",
     "line 5 has a value more than the 4 cells of the mesh"),
    (lambda file: velko.read_active(file, SMALL), "1 1\n0 0.5\n", "ERROR reading active cell file a", 2, 3, "0 0.5",
     "line 2, column 3: '0.5' where value 4 of 4 is wanted"),
    (lambda file: velko.read_active(file, SMALL), "3*1\n7\n", "ERROR: values in the active cell file should be -1, 0 or 1.", 2, 1,
     "7", "line 2, column 1: '7' where -1, 0 or 1 is wanted"),
    (velko.read_topography, "2\n1 2 3\n4;5 6\n", "ERROR reading topography file a", 3, 1, "4;5 6",
     "line 3, column 1: '4;5' where x of point 2 is wanted; values stand between blanks or commas, not semicolons"),
    (lambda file: velko.topography(SMALL, file), "one\n", "no number of points in the topography file a", 1, 1, "one",
     "line 1, column 1: 'one' where the number of points is wanted; the number of points comes first; there is no line of headings"),
])
def test_what_is_wrong_is_told_with_file_words_line_column_and_cause(read, text, words, line, column, quoted, cause):
    pathlib.Path("a").write_bytes(text.encode())
    error = failure_of(read, "a")
    assert told(error) == ("a", words, line, column, quoted, cause)
    assert str(error).endswith(f": {cause}") and error.words.rstrip(".") in str(error)


@IN_ONE_FOLDER
@given(st.text("0123456789 .-*/,;eExX!\n\r\t", max_size=60), st.sampled_from([velko.read_survey, velko.read_mesh, velko.read_topography]))
def test_no_text_brings_down_the_diagnosis(text, read):
    pathlib.Path("a").write_bytes(text.encode())
    try:
        with warnings.catch_warnings():
            warnings.simplefilter("ignore")
            read("a")
    except velko.FileError as error:
        assert error.file == "a" and (error.line is None or 1 <= error.line <= text.count("\n") + 1)


def test_lines_behind_the_last_datum_are_warned_of():
    pathlib.Path("a").write_text(HEAD + "1 2 3\n4 5 6\n7 8 9\n")
    with pytest.warns(velko.LibraryWarning, match="1 more lines behind those of its 2 data"):
        assert len(velko.read_locations("a")) == 2


def test_bad_files_are_file_errors_and_never_more():
    mesh = velko.read_mesh("survey.mesh")
    pathlib.Path("bad").write_text("q\n")
    for read, *more in ((velko.read_mesh,), (velko.read_model, mesh), (velko.read_active, mesh), (velko.read_survey,),
                        (velko.read_topography,), (velko.open,)):
        for name in ("bad", "no such file", ".", os.devnull):
            assert failure_of(read, name, *more).file == name


def test_errors_survive_a_process_of_their_own():
    pathlib.Path("a").write_text(HEAD + "x\n")
    error = failure_of(velko.read_survey, "a")
    again = pickle.loads(pickle.dumps(error))
    assert told(again) == told(error) and str(again) == str(error)


@pytest.mark.parametrize("name", ["survey.mtx", "dense.mtx"])
def test_sensitivity_file_that_is_cut_in_its_first_half_is_a_file_error(name):
    whole = pathlib.Path(name).read_bytes()
    for length in [*range(0, 60), *np.linspace(60, len(whole) // 2, 60).astype(int)]:
        pathlib.Path("cut.mtx").write_bytes(whole[:length])
        assert "cut.mtx" in str(failure_of(velko.open, "cut.mtx"))


def test_writers_leave_what_was_there_unless_all_is_written():
    before = pathlib.Path("survey.mesh").read_bytes()
    os.mkdir("folder")
    with pytest.raises(velko.FileError):
        velko.write_mesh("folder", velko.read_mesh("survey.mesh"))
    with pytest.raises(velko.FileError):
        velko.write_mesh("no/such/folder", velko.read_mesh("survey.mesh"))
    assert pathlib.Path("survey.mesh").read_bytes() == before


def test_warnings_of_the_library_are_warnings_of_python():
    velko.write_topography("small.topography", [[60, 60, 20], [100, 60, 21], [60, 100, 22]])
    with pytest.warns(velko.LibraryWarning, match="Topography region is not large enough"):
        velko.topography(velko.read_mesh("survey.mesh"), "small.topography")
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        velko.open("dense.mtx")


def test_surface_is_that_of_the_sensitivity_file():
    made = velko.topography(velko.read_mesh("survey.mesh"), "survey.topography")
    assert velko.read_mesh("survey.mtx") == made == velko.open("survey.mtx").mesh
