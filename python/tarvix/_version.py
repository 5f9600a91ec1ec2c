"""The version of the library that this package was made for; a test compares it with the header's."""

VERSION = "1.3.0"
