"""How Sphinx makes the pages; scripts/pages calls it, on what docs/site/staging.py lays out."""

import pathlib

project = "VELKO"
author = "The VELKO developers"
copyright = "The VELKO developers"  # noqa: A001: Sphinx wants it
version = release = "5.0"

extensions = ["myst_parser", "sphinx.ext.autodoc", "numpydoc", "sphinx_copybutton"]
myst_enable_extensions = ["deflist", "colon_fence"]
myst_heading_anchors = 4
suppress_warnings = ["myst.header"]  # pages put in from elsewhere begin at other levels
exclude_patterns = []

html_theme = "furo"
html_title = "VELKO"
html_static_path = ["_static"]
html_css_files = ["velko.css"]
html_show_sourcelink = False
html_copy_source = False
html_search_scorer = str(pathlib.Path(__file__).parent / "site" / "scorer.js")
html_show_search_summary = False  # it would fetch pages, which browsers refuse to pages from the file system
html_theme_options = {
    "light_css_variables": {"color-brand-primary": "#a03c0c", "color-brand-content": "#a03c0c"},
    "dark_css_variables": {"color-brand-primary": "#f2a06c", "color-brand-content": "#f2a06c"},
}
pygments_style = "friendly"
pygments_dark_style = "native"

copybutton_prompt_text = "$ "
copybutton_line_continuation_character = "\\"

autodoc_typehints = "none"  # the docstrings tell the types, in the words of NumPy's standard
autodoc_member_order = "bysource"
numpydoc_show_class_members = False

linkcheck_timeout = 20
