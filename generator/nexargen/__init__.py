"""The Nexar bindings generator: interface descriptions in, C++ out."""
