"""WTN's transform of cubes, computed by PyWavelets instead.

Prints problems, one after another, each as four lines: the filter; the three dimensions, fastest first; the cube, first
index fastest; its transform. PyWavelets' periodic step starts its pairs one sample later than ours, so the line is
turned by one before each step; pyramid, skipped dimensions and layout are written here from scratch.
"""
import numpy
import pywt


def step(line, wavelet):
    smooth, detail = pywt.dwt(numpy.roll(line, -1), wavelet, "periodization")
    return numpy.concatenate([smooth, detail])


def pyramid(line, wavelet):
    if len(line) <= 4:
        return line
    out = line.copy()
    length = len(line)
    while length >= 4:
        out[:length] = step(out[:length], wavelet)
        length //= 2
    return out


def show(values):
    print(*[repr(float(v)) for v in values])


random = numpy.random.default_rng(20240611)
for name in ("db1", "db2", "db3", "db4", "db5", "db6", "db10"):
    wavelet = pywt.Wavelet(name)
    for shape in ((8, 8, 8), (16, 4, 8), (1, 32, 2), (64, 1, 1), (2, 8, 16)):
        cube = random.normal(size=shape)
        transform = cube
        for axis in range(3):
            transform = numpy.apply_along_axis(pyramid, axis, transform, wavelet)
        show(wavelet.rec_lo)
        print(*shape)
        show(cube.ravel(order="F"))
        show(transform.ravel(order="F"))
