# Settings of Sphinx; tools/docs makes the folder that it reads.
project = "Tolvane"
html_title = "Tolvane"
extensions = ["breathe", "myst_parser"]
breathe_projects = {"tolvane": "../xml"}
breathe_default_project = "tolvane"
breathe_show_include = False
myst_heading_anchors = 3
# Public macros and attributes that the parser of declarations doesn't know.
cpp_id_attributes = ["TOLVANE_API"]
primary_domain = "cpp"
highlight_language = "none"
html_theme = "classic"
html_theme_options = {"sidebarwidth": "18em", "body_max_width": "90em"}
html_show_copyright = False
html_copy_source = False
