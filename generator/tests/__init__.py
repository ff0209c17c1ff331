"""Unit tests of the generator: naming rules, parser, cross-file checks and the rendered tree."""
