"""The pictures: made, not empty, with axes that say their units, and a line for whatever is wrong."""

import sys
import unittest

import matplotlib.image
import matplotlib.pyplot as plt
import numpy as np
from survey_files import InAFolder, load_script, sensitivity_head

plot = load_script("plot")
import velko.plot_command  # noqa: E402: the script has found it


def data_file(values, x=None, y=None):
    side = int(np.ceil(np.sqrt(len(values))))
    x = np.arange(len(values)) % side * 10.0 if x is None else x
    y = np.arange(len(values)) // side * 10.0 if y is None else y
    lines = ["62 4 52000 !! incl", "62 4 1 !! aincl", f"{len(values)} !! # of data"]
    return "\n".join(lines + [f"{a} {b} 5 {v}" for a, b, v in zip(x, y, values)]) + "\n"


class Pictures(InAFolder):
    def setUp(self):
        super().setUp()
        self.write("a.vlk", data_file(np.linspace(-50, 90, 36)))
        self.write("b.vlk", data_file(np.linspace(-50, 91, 36)))
        self.write("mesh", "4 3 3\n0 0 20\n50 10 10 50\n3*10\n10 10 40\n")
        self.write("model", "\n".join("0.3" if cell == 4 else "0.01" for cell in range(36)))
        self.write("g.mtx", sensitivity_head(np.array([[0, 1, 2], [3, 4, 0]])))
        self.write("small", "".join(f"{0.01 * cell}\n" for cell in range(24)))

    def assert_drawn(self, *arguments):
        for picture in ("p.png", "p.pdf"):
            self.assertEqual(self.run_main(plot, *arguments, picture), (0, "", ""))
        with open("p.pdf", "rb") as file:
            self.assertEqual(file.read(5), b"%PDF-")
        image = matplotlib.image.imread("p.png")
        self.assertGreater(min(image.shape[:2]), 300)
        few_pixels = image[::5, ::5].reshape(-1, image.shape[2])
        self.assertGreater(len(np.unique(few_pixels, axis=0)), 20)
        plt.close("all")

    def figure_of(self, *arguments):
        before, sys.argv = sys.argv, ["plot", *arguments, "p.png"]
        try:
            options = velko.plot_command.parse_command_line()
            figure = options.draw(options)
        finally:
            sys.argv = before
        self.addCleanup(plt.close, figure)
        return figure

    def test_data(self):
        self.assert_drawn("data", "a.vlk")

    def test_what_the_library_warns_of_is_a_line(self):
        self.write("topo", "3\n0 0 10\n30 0 10\n0 10 10\n")
        said = (0, "", "plot: Warning: Topography region is not large enough.\n")
        self.assertEqual(self.run_main(plot, "model", "mesh", "model", "--topography", "topo", "p.png"), said)

    def test_difference(self):
        self.assert_drawn("difference", "a.vlk", "b.vlk")

    def test_model_of_a_mesh_file(self):
        self.assert_drawn("model", "mesh", "model")

    def test_model_of_a_sensitivity_file(self):
        self.assert_drawn("model", "g.mtx", "small")

    def test_maps_say_their_units_and_keep_their_shape(self):
        axes, bar = self.figure_of("data", "a.vlk").axes
        self.assertEqual((axes.get_xlabel(), axes.get_ylabel()), ("x, east (m)", "y, north (m)"))
        self.assertEqual(axes.get_aspect(), 1)
        self.assertEqual(bar.get_ylabel(), "magnetic anomaly (nT)")
        self.assertEqual(axes.get_title(), "a.vlk: 36 data, -50 to 90 nT")

    def test_large_maps_are_in_kilometres(self):
        self.write("a.vlk", data_file(np.arange(36.0), x=np.arange(36) % 6 * 4e3, y=np.arange(36) // 6 * 4e3))
        axes = self.figure_of("data", "a.vlk").axes[0]
        self.assertEqual(axes.get_xlabel(), "x, east (km)")
        self.assertAlmostEqual(axes.get_xlim()[1], 20, delta=2)

    def test_white_is_zero(self):
        low, high = self.figure_of("data", "a.vlk").axes[1].get_ylim()
        self.assertEqual(low, -high)

    def test_difference_tells_its_size(self):
        title = self.figure_of("difference", "b.vlk", "a.vlk").axes[0].get_title()
        self.assertIn("b.vlk less a.vlk\nlargest 1 nT, relative ", title)

    def test_few_stations_and_stations_on_a_line_are_points(self):
        for count in (1, 2, 5):
            self.write("a.vlk", data_file(np.arange(float(count)), x=np.arange(count), y=np.arange(count)))
            self.assertEqual(len(self.figure_of("data", "a.vlk").axes[0].collections), 1)

    def test_values_that_are_all_alike(self):
        for value in (0.0, 7.0):
            self.write("a.vlk", data_file(np.full(36, value)))
            self.figure_of("data", "a.vlk")
            self.figure_of("difference", "a.vlk", "a.vlk").canvas.draw()

    def test_sections_go_through_the_most_anomalous_cell(self):
        titles = [axes.get_title() for axes in self.figure_of("model", "mesh", "model").axes[:3]]
        self.assertEqual(titles, ["elevation 5 m", "y = 5 m", "x = 55 m"])

    def test_sections_go_where_they_are_told(self):
        figure = self.figure_of("model", "mesh", "model", "--x", "62", "--y", "11", "--elevation", "15")
        self.assertEqual([axes.get_title() for axes in figure.axes[:3]], ["elevation 15 m", "y = 15 m", "x = 65 m"])

    def test_padding_is_shown_on_demand(self):
        narrow, whole = (self.figure_of("model", "mesh", "model", *more).axes[0].get_xlim() for more in ([], ["--whole"]))
        self.assertEqual((narrow, whole), ((50, 70), (0, 120)))

    def test_cells_above_the_surface_are_blank(self):
        figure = self.figure_of("model", "g.mtx", "small", "--y", "15", "--x", "15")
        across = figure.axes[1].collections[0].get_array().reshape(4, 3)
        np.testing.assert_array_equal(np.ma.getmaskarray(across), [[1, 1, 0], [1, 1, 0], [1, 1, 0], [0, 1, 0]])

    def test_sections_show_terrain_and_stations(self):
        self.write("t", "4\n0 0 18\n120 0 12\n0 30 19\n120 30 11\n")
        figure = self.figure_of("model", "mesh", "model", "--topography", "t", "--locations", "a.vlk")
        self.assertEqual(len(figure.axes[1].lines), 4)  # surface, terrain, stations, the level of the plan
        x, z = figure.axes[1].lines[1].get_data()
        self.assertTrue(np.all(np.diff(z) < 0) and 11 < z.min() and z.max() < 19)

    def test_wrong_command_lines(self):
        self.assert_fails(plot, [], "required: data|difference|model", 2)
        self.assert_fails(plot, ["frob"], "invalid choice: 'frob'", 2)
        self.assert_fails(plot, ["data", "a.vlk"], "required: PICTURE", 2)
        self.assert_fails(plot, ["data", "a.vlk", "p.txt"], "p.txt should end in .png or .pdf", 2)
        self.assert_fails(plot, ["model", "mesh", "model", "p.png", "--x", "q"], "invalid float value: 'q'", 2)

    def test_bad_inputs(self):
        self.assert_fails(plot, ["data", "none", "p.png"], "plot: ERROR: data file not found: none")
        self.assert_fails(plot, ["data", "mesh", "p.png"], "plot: mesh: ERROR: idir in data file should be 0 or 1: line 2, column 5: '20'")
        self.assert_fails(plot, ["model", "mesh", "small", "p.png"], "plot: ERROR: end reached reading model file small")
        self.assert_fails(plot, ["model", "mesh", "model", "p.png", "--y", "31"], "y lies outside of the mesh")
        self.assert_fails(plot, ["data", "a.vlk", "none/p.png"], "cannot write none/p.png: No such file or directory")
        self.write("c.vlk", data_file(np.arange(35.0)))
        self.assert_fails(plot, ["difference", "a.vlk", "c.vlk", "p.png"], "a.vlk has 36 data, c.vlk has 35")
        self.write("c.vlk", data_file(np.arange(36.0), x=np.arange(36.0)))
        self.assert_fails(plot, ["difference", "a.vlk", "c.vlk", "p.png"], "have different stations")
        self.write("twice", "3\n0 0 1\n9 9 1\n9 9 2\n")
        self.assert_fails(plot, ["model", "mesh", "model", "p.png", "--topography", "twice"], "Error: 1 duplicate points found")


if __name__ == "__main__":
    unittest.main()
