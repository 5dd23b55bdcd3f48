"""Reads the tables of quilmar-scan and the reports of quilmar, draws them and prints them for papers."""
