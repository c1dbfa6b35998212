raise OSError("the spectrometer's library is missing")
