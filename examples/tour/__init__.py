"""What the demo shows, a module for each subject. Sections yield the lines that they print."""
