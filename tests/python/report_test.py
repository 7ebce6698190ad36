"""What a report tells: data, model, and whether files belong together; that names are only names, and that no page is half written."""

import html.parser
import os
import subprocess
import sys

import numpy as np
import pytest

import velko
from conftest import BIN
from velko.report_command import main


class Page(html.parser.HTMLParser):
    """Headings in their order, attributes of all elements, and the text."""

    def __init__(self, name):
        super().__init__()
        self.headings, self.elements, self.words, self.open = [], [], [], []
        with open(name, encoding="utf-8") as opened:
            self.feed(opened.read())

    def handle_starttag(self, tag, attributes):
        self.elements.append((tag, dict(attributes)))
        self.open.append(tag)
        if tag in ("h1", "h2", "h3", "h4"):
            self.headings.append([tag, ""])

    def handle_endtag(self, tag):
        while self.open and self.open.pop() != tag:
            pass

    def handle_data(self, text):
        if "style" in self.open:
            return
        self.words.append(text)
        if self.open and self.open[-1] in ("h1", "h2", "h3", "h4"):
            self.headings[-1][1] += text

    def of(self, tag):
        return [attributes for name, attributes in self.elements if name == tag]

    @property
    def text(self):
        return " ".join(" ".join(self.words).split())


def survey_with(values, x=None, y=None, **more):
    n = np.arange(len(values))
    return velko.Survey(n % 6 * 30.0 if x is None else x, n // 6 * 30.0 if y is None else y, np.full(len(values), 75.0), 62, 4, 50000,
                        values=values, **more)


def observed_file(error=2.0):
    predicted = velko.read_predicted("survey.vlk")
    off = np.where(np.arange(36) % 2, error, -error)
    velko.write_data("survey.obs", predicted.with_values(predicted.values + off, np.full(36, 2.0)))
    return "survey.obs"


def velkmtx(*words, **more):
    return subprocess.run([BIN / "velkmtx", "report", *words], capture_output=True, text=True, **more)


def test_a_whole_run_is_one_page_with_headings_in_order_and_words_for_each_picture():
    assert velko.report("r.html", matrix="survey.mtx", data="survey.vlk", observed=observed_file(), model="survey.sus",
                        mesh="survey.mesh", topography="survey.topography", locations="survey.loc", title="A hill") == []
    page = Page("r.html")
    assert page.headings[0] == ["h1", "A hill"]
    assert [name for tag, name in page.headings if tag == "h2"] == ["Data", "Model", "How far to trust it", "Files and commands"]
    levels = [int(tag[1]) for tag, _ in page.headings]
    assert all(after <= before + 1 for before, after in zip(levels, levels[1:])) and levels.count(1) == 1
    pictures = page.of("img")
    assert len(pictures) == 8  # two maps, residuals twice, a histogram, a plan, two sections
    assert all(len(p["alt"]) > 20 and p["src"].startswith("data:image/svg+xml;base64,") for p in pictures)
    assert len({p["alt"] for p in pictures}) == 8
    sources = [a[n] for _, a in page.elements for n in ("src", "srcset", "href") if n in a]
    assert all(source.startswith(("data:", "#")) for source in sources)


def test_it_tells_the_numbers_of_the_data_and_of_the_misfit():
    velko.report("r.html", data="survey.vlk", observed=observed_file(error=3.0))
    text, values = Page("r.html").text, velko.read_predicted("survey.vlk").values
    assert f"largest {values.max():.4g} " in text.replace("−", "-")
    assert "root mean square of the residuals 3 nT the same in standard deviations 1.5" in text
    assert "within one standard deviation 0 % of the stations within two 100 %" in text


def test_everything_that_holds_is_told():
    velko.report("r.html", matrix="survey.mtx", data="survey.vlk", observed=observed_file(), model="survey.sus",
                 mesh="survey.mesh", topography="survey.topography")
    text = Page("r.html").text
    for words in ("Every byte of survey.mtx is as it was written", "survey.mtx was made for the stations and the field of survey.vlk",
                  "survey.mtx was made for the stations and the field of survey.obs", "survey.mtx has the mesh of survey.mesh",
                  "survey.mtx has the surface of survey.topography", "survey.vlk is what survey.mtx predicts for survey.sus"):
        assert f"yes {words.split(' ')[0]}" or words in text
        assert words in text
    assert "Not everything fits together" not in text


def test_the_error_that_compression_costs_is_measured():
    model = velko.read_model("survey.sus", velko.read_mesh("survey.mtx"))
    with velko.open("survey.mtx") as G, velko.open("dense.mtx") as D:
        errors = (G @ G.vector(model) - D @ D.vector(model))
    velko.report("r.html", matrix="survey.mtx", model="survey.sus", verify=36)
    text = Page("r.html").text
    assert f"costs a datum of this model {np.sqrt(np.mean(errors**2)):.2g} nT" in text
    assert f"at most {np.abs(errors).max():.2g} nT at 36 stations" in text
    loss = velko.info("survey.mtx").loss
    assert (np.abs(errors) <= loss * np.abs(model).max() * (1 + 1e-9)).all()
    velko.report("r.html", matrix="survey.mtx", model="survey.sus", verify=0)
    text = Page("r.html").text
    assert "compared with exact rows" not in text and f"no datum is off by more than {loss.max() * model.max():.3g} nT" in text


def test_predicted_data_are_computed_where_no_file_has_them():
    velko.report("r.html", matrix="survey.mtx", model="survey.sus")
    page = Page("r.html")
    assert "computed for this page" in page.text and len(page.of("img")) == 5
    values = velko.read_predicted("survey.vlk").values
    assert f"{values.max():.4g} nT" in page.text


def test_a_flipped_bit_is_told_above_all_else():
    with open("survey.mtx", "r+b") as file:
        file.seek(-20000, os.SEEK_END)
        byte = file.read(1)[0]
        file.seek(-1, os.SEEK_CUR)
        file.write(bytes([byte ^ 1]))
    faults = velko.report("r.html", matrix="survey.mtx")
    assert len(faults) == 1 and faults[0].startswith("survey.mtx is damaged or does not fit together: ")
    text = Page("r.html").text
    assert text.index("Not everything fits together") < text.index("How far to trust it", text.index("Sensitivity file"))
    assert "its checksum differs" in text


def test_what_belongs_to_another_survey_mesh_surface_or_model_is_told():
    s = velko.read_predicted("survey.vlk")
    velko.write_predicted("higher.vlk", velko.Survey(s.x, s.y, s.z + 5, 62, 4, 50000), s.values * 1.01)
    velko.write_mesh("other.mesh", velko.Mesh([10] * 16, [10] * 16, [5] * 7 + [6], origin=(0, 0, 35)))
    velko.write_topography("flat.topography", [[-50, -50, 30], [250, -50, 30], [0, 250, 30]])
    faults = velko.report("r.html", matrix="survey.mtx", data="higher.vlk", model="survey.sus", mesh="other.mesh",
                          topography="flat.topography")
    assert faults[0] == "survey.mtx was not made for the stations of higher.vlk."
    assert faults[1] == "survey.mtx has not the mesh of other.mesh."
    assert faults[2].startswith("survey.mtx has another surface than that of flat.topography, in ")
    assert faults[3].startswith("higher.vlk is not what survey.mtx predicts for survey.sus: data differ by up to ")
    text = Page("r.html").text
    assert all(fault in text for fault in faults) and "datum 1 lies at (5, 0, 80); the file was made for (5, 0, 75)" in text


def test_a_file_without_provenance_leaves_questions_open():
    with velko.open("survey.mtx") as G:
        velko.write_sensitivity("plain.mtx", G.mesh, G.to_scipy(), weights=G.weights, filter=G.filter)
    assert velko.report("r.html", matrix="plain.mtx", data="survey.vlk", model="survey.sus") == []
    page = Page("r.html")
    assert page.text.count("unknown Undamaged") == page.text.count("unknown Stations") == page.text.count("unknown Accuracy") == 1
    assert "velkmtx make" not in page.text


def test_a_dense_matrix_loses_nothing():
    velko.report("r.html", matrix="dense.mtx", data="dense.vlk", model="survey.sus")
    assert "yes Accuracy Rows are dense" in Page("r.html").text


def test_a_part_is_told_with_its_rows():
    subprocess.run([BIN / "velkmtx", "make", "survey.mesh", "survey.topography", "survey.loc", "part.mtx", "--rows", "3:9", "--quiet",
                    "--accuracy", "4", "--weights", "depth", "--beta", "2"], check=True)
    velko.report("r.html", matrix="part.mtx", mesh="survey.mesh", topography="survey.topography", locations="survey.loc")
    text = Page("r.html").text
    assert "rows 3 to 9 of 36" in text and "yes Stations" in text
    again = [word for word in text[text.index("velkmtx make"):].split() if word != "\\"][:22]
    again[5] = "again.mtx"
    subprocess.run([BIN / again[0], *again[1:again.index("--rows") + 2], "--quiet"], check=True)
    with open("part.mtx", "rb") as one, open("again.mtx", "rb") as other:
        assert one.read() == other.read()


def test_the_commands_it_tells_make_the_same_bytes():
    velko.report("r.html", matrix="survey.mtx", data="survey.vlk", model="survey.sus", mesh="survey.mesh", topography="survey.topography",
                 locations="survey.loc", command=["velkmtx", "report", "a b.html"])
    with open("r.html", encoding="utf-8") as page:
        lines = page.read().split("<pre")[1].split(">", 1)[1].split("</pre>")[0]
    assert lines.endswith("velkmtx report &#39;a b.html&#39;")
    before = {name: open(name, "rb").read() for name in ("survey.mtx", "survey.vlk")}
    os.remove("survey.mtx")
    commands = lines[:lines.index("velkmtx report")]
    subprocess.run(["sh", "-e", "-c", commands], check=True, env={**os.environ, "PATH": f"{BIN}:{os.environ['PATH']}"}, capture_output=True)
    assert open("survey.mtx", "rb").read() == before["survey.mtx"] and open("velkrund.vlk", "rb").read() == before["survey.vlk"]


def test_files_that_were_not_told_stand_in_capitals():
    velko.report("r.html", matrix="survey.mtx")
    text = Page("r.html").text
    assert "velkmtx make MESH TOPOGRAPHY LOCATIONS survey.mtx" in text and "Words in capitals" in text


def test_the_users_own_commands_are_shown_as_they_are():
    with open("run.sh", "w") as script:
        script.write("velkmtx make a b c d # <b>&amp;\n\x1b[31mred\n")
    velko.report("r.html", data="survey.vlk", commands="run.sh")
    assert "velkmtx make a b c d # <b>&amp; \ufffd[31mred" in Page("r.html").text
    with pytest.raises(velko.Error, match="cannot read nothing.sh: No such file"):
        velko.report("r.html", data="survey.vlk", commands="nothing.sh")


@pytest.mark.parametrize("name", ["<script>alert(1)<\u2215script>.vlk", "a\"b'&amp;<img src=x onerror=alert(1)>.vlk", "two\nlines\x1b[31m.vlk",
                                  "{{ 7 * 7 }}{% raw %}.vlk", "Zürich ∇ 磁.vlk"])
def test_names_are_only_names(name):
    velko.report("r.html", locations="survey.loc")
    as_usual = len(Page("r.html").elements)
    os.rename("survey.loc", name)
    velko.report("r.html", locations=name, title=name)
    page = Page("r.html")
    assert len(page.elements) == as_usual and not page.of("script") and not [a for _, a in page.elements if "onerror" in a]
    shown = "".join(c if c.isprintable() else "\ufffd" for c in name)
    assert page.headings[0][1] == shown and page.text.count(" ".join(shown.split())) >= 3


def Page_of(name, **more):
    velko.report("r.html", data=name, **more)
    return Page("r.html")


@pytest.mark.parametrize("case", ["line", "one", "two", "constant", "long", "grid"])
def test_every_survey_has_its_page(case):
    n = np.arange(50)
    survey = {"line": survey_with(np.sin(n / 5), x=n * 10.0, y=np.zeros(50)), "one": survey_with([1.0]), "two": survey_with([1.0, 2.0]),
              "constant": survey_with(np.zeros(36)), "long": survey_with(np.sin(n), x=n * 1e3, y=n % 2 * 5.0),
              "grid": survey_with(np.arange(36.0))}[case]
    velko.write_predicted("case.vlk", survey)
    velko.write_data("case.obs", survey.with_values(survey.values + 1, np.ones(len(survey))))
    page = Page_of("case.vlk", observed="case.obs")
    profiles = {"one": 0, "line": 1, "two": 1}.get(case, 2)
    assert len(page.of("img")) == 5 + profiles and f"Stations {len(survey)} over" in page.text


def test_directions_of_each_station_are_told():
    n = np.arange(36.0)
    survey = velko.Survey(n % 6 * 30, n // 6 * 30, np.full(36, 75), 62, 4, 50000, aincl=n, adecl=n, values=n)
    velko.write_predicted("many.vlk", survey)
    assert "a component for each station" in Page_of("many.vlk").text
    other = velko.Survey(n % 6 * 30, n // 6 * 30, np.full(36, 75), 62, 4, 50000, aincl=90, adecl=0, values=n)
    velko.write_predicted("down.vlk", other)
    assert "the component along inclination 90°, declination 0°" in Page_of("down.vlk").text


def test_the_cuts_are_where_they_were_asked_for():
    velko.report("r.html", mesh="survey.mesh", model="survey.sus", x=[42, 111], y=[15], elevation=[18, 28])
    page = Page("r.html")
    alts = " ".join(p["alt"] for p in page.of("img"))
    for words in ("elevation 17.5 m", "elevation 27.5 m", "y = 15 m", "x = 45 m", "x = 115 m"):
        assert words in alts
    with pytest.raises(ValueError, match="x lies outside of the mesh"):
        velko.report("r.html", mesh="survey.mesh", model="survey.sus", x=[1e6])


def test_files_of_two_surveys_are_refused():
    velko.write_data("few.obs", survey_with(np.ones(7), deviations=np.ones(7)))
    with pytest.raises(ValueError, match="survey.vlk has 36 stations, few.obs has 7: they are not one survey"):
        velko.report("r.html", data="survey.vlk", observed="few.obs")
    s = velko.read_predicted("survey.vlk")
    x = s.x.copy()
    x[4] += 1
    velko.write_data("moved.obs", velko.Survey(x, s.y, s.z, 62, 4, 50000, values=s.values, deviations=np.ones(36)))
    with pytest.raises(ValueError, match="survey.vlk and moved.obs have different stations; the first is datum 5"):
        velko.report("r.html", data="survey.vlk", observed="moved.obs")


def test_same_inputs_give_the_same_page(monkeypatch):
    monkeypatch.setenv("SOURCE_DATE_EPOCH", "1700000000")
    pages = []
    for name in ("one.html", "two.html"):
        velko.report(name, matrix="survey.mtx", data="survey.vlk", model="survey.sus")
        pages.append(open(name, "rb").read())
    assert pages[0] == pages[1] and b"2023-11-14 22:13 UTC" in pages[0]


def test_a_page_is_whole_or_not_there():
    with open("r.html", "w") as page:
        page.write("as it was")
    with pytest.raises(velko.FileError, match="not found: nothing.mtx"):
        velko.report("r.html", matrix="nothing.mtx", data="survey.vlk")
    assert open("r.html").read() == "as it was"
    with pytest.raises(velko.FileError, match="nowhere/r.html"):
        velko.report("nowhere/r.html", data="survey.vlk")
    assert not [name for name in os.listdir() if name.startswith((".velko", "nowhere"))]


# velkmtx report


def test_velkmtx_writes_the_same_page():
    run = velkmtx("r.html", "--data", "survey.vlk", "--title", "T", env={**os.environ, "SOURCE_DATE_EPOCH": "0"})
    assert (run.returncode, run.stdout, run.stderr) == (0, "", "")
    assert "velkmtx report r.html --data survey.vlk --title T" in Page("r.html").text


def test_velkmtx_report_does_not_look_for_modules_beside_the_data():
    for name in ("numpy", "velko", "json"):
        with open(f"{name}.py", "w") as trap:
            trap.write("raise SystemExit('trapped')\n")
    run = velkmtx("r.html", "--data", "survey.vlk")
    assert (run.returncode, run.stderr) == (0, "") and os.path.exists("r.html")


def test_velkmtx_warns_of_what_does_not_fit_and_still_writes():
    velko.write_mesh("other.mesh", velko.Mesh([10] * 3, [10] * 3, [5]))
    run = velkmtx("r.html", "--matrix", "survey.mtx", "--mesh", "other.mesh")
    assert (run.returncode, run.stderr) == (0, "velkmtx: survey.mtx has not the mesh of other.mesh.\n") and os.path.exists("r.html")


@pytest.mark.parametrize("words, told", [
    ([], "REPORT is required"),
    (["r.html"], "A matrix, data, or a model with its mesh is required"),
    (["r.html", "--topography", "survey.topography"], "A matrix, data, or a model"),
    (["r.html", "--data", "survey.vlk", "--x", "1,nan"], "'1,nan' is not one number, or several with commas between them"),
    (["r.html", "--data", "survey.vlk", "--verify", "-1"], "'-1' is not a whole number from 0"),
    (["r.html", "--data", ""], "'' is not the name of a file"),
    (["r.html", "--dat", "survey.vlk"], ""),
])
def test_a_wrong_command_line_is_one_line(words, told):
    run = velkmtx(*words)
    assert (run.returncode, run.stdout) == (2, "") and told in run.stderr, run.stderr
    assert run.stderr.startswith("velkmtx report: ") and run.stderr.endswith("; see velkmtx report --help\n") and run.stderr.count("\n") == 1


@pytest.mark.parametrize("words, told", [
    (["r.html", "data", "survey.loc"], "ERROR reading data file survey.loc: line 4"),
    (["r.html", "observed", "survey.vlk"], "ERROR reading data file survey.vlk: line 4"),
    (["r.html", "data", "nothing"], "not found: nothing"),
    (["r.html", "model", "survey.sus"], "the model survey.sus needs its mesh: --matrix or --mesh tells it"),
    (["r.html", "matrix", "survey.vlk"], "sensitivity file"),
    (["r.html", "mesh", "survey.loc"], "ERROR reading mesh file: survey.loc"),
    (["r.html", "data", "two\nlines\x1b[2J"], "two?lines?[2J"),
    (["r.html", "data", "latin\udce9.vlk"], "is not in UTF-8"),
    ([".", "data", "survey.vlk"], "."),
])
def test_mistakes_are_one_line_and_leave_nothing(words, told, capsys):
    before = sorted(os.listdir())
    assert main(words) == 1
    out, err = capsys.readouterr()
    assert out == "" and told in err, err
    assert err.startswith("velkmtx: ") and err.count("\n") == 1
    assert sorted(os.listdir()) == before


def test_a_failure_has_the_status_of_velkmtx():
    run = velkmtx("r.html", "--data", "nothing")
    assert (run.returncode, run.stdout) == (1, "") and run.stderr.startswith("velkmtx: ") and run.stderr.count("\n") == 1


def test_places_go_through_the_command_line():
    assert velkmtx("r.html", "--mesh", "survey.mesh", "--model", "survey.sus", "--x", "42,111", "--elevation", "-3").returncode == 0
    page = Page("r.html")
    assert [p["alt"].split(" at ")[1] for p in page.of("img")] == ["elevation \u22122.5 m.", "y = 85 m.", "x = 45 m.", "x = 115 m."]
    assert "--x 42,111 --elevation -3" in page.text.replace(" \\ ", " ")


def test_what_is_missing_is_told(tmp_path):
    """A velkmtx without its package, and a Python that lacks a library."""
    lonely = tmp_path / "prefix" / "bin" / "velkmtx"
    lonely.parent.mkdir(parents=True)
    lonely.write_bytes((BIN / "velkmtx").read_bytes())
    lonely.chmod(0o755)
    bare = {"PATH": f"{tmp_path}/empty:/usr/bin", "HOME": os.environ.get("HOME", "/")}
    run = subprocess.run([lonely, "report", "r.html", "--data", "survey.vlk"], capture_output=True, text=True, env=bare)
    if run.returncode != 0:  # else the system has the package
        assert run.stderr.startswith("velkmtx: a report is made by the Python package velko, which /usr/bin/python3 cannot load: install ")
        assert "python3-jinja2" in run.stderr and run.stderr.count("\n") == 1
    (tmp_path / "empty").mkdir()
    run = subprocess.run([lonely, "report", "r.html", "--data", "survey.vlk"], capture_output=True, text=True, env={"PATH": f"{tmp_path}/empty"})
    assert (run.returncode, run.stderr) == (1, "velkmtx: cannot run python3: No such file or directory\n")


def test_a_missing_library_is_told_by_its_name(monkeypatch, capsys):
    monkeypatch.delitem(sys.modules, "velko.report_page", raising=False)
    monkeypatch.setitem(sys.modules, "jinja2", None)
    assert main(["r.html", "data", "survey.vlk"]) == 1
    told = capsys.readouterr().err
    assert told.startswith("velkmtx: a report needs Debian's python3-matplotlib and python3-jinja2: ") and "jinja2" in told
    assert not os.path.exists("r.html")


def test_help_tells_every_option():
    run = velkmtx("--help")
    assert run.returncode == 0 and run.stderr == ""
    for option in ("matrix", "data", "observed", "locations", "model", "mesh", "topography", "commands", "title", "x", "y", "elevation",
                   "verify"):
        assert f"--{option} " in run.stdout


def test_help_needs_no_package(tmp_path):
    lonely = tmp_path / "velkmtx"
    lonely.write_bytes((BIN / "velkmtx").read_bytes())
    lonely.chmod(0o755)
    run = subprocess.run([lonely, "report", "--help"], capture_output=True, text=True, env={})
    assert run.returncode == 0 and "--observed FILE" in run.stdout
