"""What every part of the package uses: errors, texts, dates, settings, files put in place."""
