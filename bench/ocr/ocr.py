#!/usr/bin/env python3
"""Measures text recognition beside the tesseract program, on the same pictures in the same run.

usage: tools/bench ocr [BUILD_DIR] [--rounds N] [--seeds FIRST COUNT]
       tools/bench ocr [BUILD_DIR] --sizes
       tools/bench ocr [BUILD_DIR] --cost [--beside BUILD_DIR] [--rounds N]

BUILD_DIR is where the project was built (default: build/release). For each set of screens (`data/ocr`,
`data/ocr/more`, which was made later, and screens that draw.py draws at random, which are also reported by their
scale) prints the figures that score.py defines and the seconds per picture: of this project with no lines remembered,
with the picture seen before, and of the program as users run it (its default page mode, psm 3) and in its best mode for
screens (page scaled twice, psm 11). Times are the fastest of N rounds; other work on the machine adds to them, so
compare the ratios. The program's peak memory is its own, measured for its largest picture. Also prints what --cost does.

Seeds 1 to 200 are for work on the recognition; the default is from 1000 up, where single pictures are not looked at.

--cost prints instead the seconds, processor seconds and memory for one picture of 3840x2160 and for those of 1280x900,
of one build or, in turns, of two: processor seconds say more than seconds where other work is going on.

--sizes prints instead the share of plain lines read exactly for each size of letters, beside the program's (psm 6).
"""
import argparse, csv, io, json, os, pathlib, resource, statistics, subprocess, sys, tempfile, time

HERE = pathlib.Path(__file__).resolve().parent
# Last, since tools/bench starts this without the script's folder.
sys.path.append(str(HERE))
import cairo, draw, score

DATA = HERE.parent / 'data' / 'ocr'
STANDARD = 1280 * 900


def png_size(path):
    head = path.read_bytes()[16:24]
    return int.from_bytes(head[:4], 'big'), int.from_bytes(head[4:], 'big')


def ours(build, images, out, remembered, rounds):
    command = [build / 'bench' / 'ocr' / 'ocr_bench', '0', str(remembered), str(rounds), out, *images]
    return json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)


def lines_of(tsv, scale):
    """The lines of the program's word list."""
    lines = {}
    for row in csv.DictReader(io.StringIO(tsv), delimiter='\t', quoting=csv.QUOTE_NONE):
        if row['level'] != '5' or not row['text'].strip():
            continue
        lines.setdefault((row['block_num'], row['par_num'], row['line_num']), []).append(row)
    results = []
    for words in lines.values():
        box = [min(int(w['left']) for w in words), min(int(w['top']) for w in words),
               max(int(w['left']) + int(w['width']) for w in words), max(int(w['top']) + int(w['height']) for w in words)]
        x0, y0, x1, y1 = (v / scale for v in box)
        results.append({'text': ' '.join(w['text'] for w in words),
                        'confidence': min(float(w['conf']) for w in words) / 100,
                        'boundingBox': {'x': x0, 'y': y0, 'width': x1 - x0, 'height': y1 - y0}})
    return {'results': results}


def doubled(build, image, directory):
    """The picture at twice its size, as the program's best mode wants it."""
    target = pathlib.Path(directory) / image.name
    subprocess.run([build / 'bench' / 'ocr' / 'scale_image', image, target], check=True)
    return target


def program(build, images, out, mode, scale, rounds, directory, threads=None):
    seconds = {}
    environment = os.environ | ({'OMP_THREAD_LIMIT': str(threads)} if threads else {})
    out.mkdir(parents=True, exist_ok=True)
    for image in images:
        source = image if scale == 1 else doubled(build, image, directory)
        best = float('inf')
        for _ in range(rounds):
            start = time.perf_counter()
            tsv = subprocess.run(['tesseract', source, '-', '--psm', str(mode), 'tsv'], check=True, capture_output=True,
                                 text=True, env=environment).stdout
            best = min(best, time.perf_counter() - start)
        seconds[image.stem] = best
        (out / f'{image.stem}.json').write_text(json.dumps(lines_of(tsv, scale)))
    return seconds


def report(name, figures, seconds, images):
    standard = [seconds[i.stem] for i in images if png_size(i)[0] * png_size(i)[1] <= STANDARD]
    print(f'{name:34} {figures}')
    print(f'{"":34} seconds: mean of all {statistics.mean(seconds.values()):.3f}, '
          f'of 1280x900 {statistics.mean(standard):.3f}, slowest of those {max(standard):.3f}')


def measure(title, data, build, rounds, scales=None):
    """`scales` gives the pixels to a point of each screen, where large ones are to be reported apart."""
    images = sorted((data / 'images').glob('*.png'))
    print(f'== {title}: {len(images)} screens')
    with tempfile.TemporaryDirectory() as directory:
        base = pathlib.Path(directory)
        figures = lambda results: score.figures(score.totals(data / 'truth', results))
        cold = ours(build, images, base / 'ours', 0, rounds)
        report('ours, nothing remembered', figures(base / 'ours'), cold['seconds'], images)
        for scale in sorted(set((scales or {}).values())):
            of_scale = lambda name: scales[name] == scale
            print(f'{f"  of those at {scale:.0%}":34} '
                  f'{score.figures(score.totals(data / "truth", base / "ours", of_scale))}')
        print(f'{"":34} model {cold["load"]:.2f} s, peak memory {cold["peak_mib"]} MiB')
        warm = ours(build, images, base / 'warm', 4096, max(2, rounds))
        report('ours, seen before', figures(base / 'warm'), warm['seconds'], images)
        usual = program(build, images, base / 'psm3', 3, 1, rounds, base)
        report('program, as users run it', figures(base / 'psm3'), usual, images)
        best = program(build, images, base / 'psm11', 11, 2, rounds, base)
        report('program, scaled twice, psm 11', figures(base / 'psm11'), best, images)
        print(f'{"":34} program peak memory {resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss // 1024} MiB '
              '(largest child of this run)')
        ratio = statistics.mean(usual.values()) / statistics.mean(cold['seconds'].values())
        print(f'{"":34} the program as users run it takes {ratio:.2f} times as long', flush=True)


def draw_large(images, target):
    """An image of 3840x2160 that is full of small letters: nine screens, one of them twice."""
    large = cairo.ImageSurface(cairo.FORMAT_RGB24, 3840, 2160)
    context = cairo.Context(large)
    for i in range(9):
        source = cairo.ImageSurface.create_from_png(str(images[i % len(images)]))
        context.set_source_surface(source, i % 3 * 1280, i // 3 * 720)
        context.rectangle(i % 3 * 1280, i // 3 * 720, 1280, 720)
        context.fill()
    large.write_to_png(str(target))


def measure_cost(builds, rounds):
    """Seconds, processor seconds and memory of each build in turns, so that they meet the same machine."""
    standard = [path for path in sorted((DATA / 'images').glob('*.png')) if png_size(path) == (1280, 900)]
    with tempfile.TemporaryDirectory() as directory:
        base = pathlib.Path(directory)
        large = base / 'large.png'
        draw_large(standard, large)
        for title, images, remembered in (('3840x2160', [large], 0), ('3840x2160, what repeats read once', [large], 4096),
                                          (f'{len(standard)} of 1280x900', standard, 0)):
            print(f'== {title}: with the loading of the models, fastest of {rounds}')
            turns = [[ours(build, images, base / str(i), remembered, 1) for i, build in enumerate(builds)]
                     for _ in range(rounds)]
            for i, (build, runs) in enumerate(zip(builds, zip(*turns))):
                lines = sum(len(json.loads((base / str(i) / f'{image.stem}.json').read_text())['results'])
                            for image in images)
                print(f'{str(build):34} {lines} lines, '
                      f'{min(statistics.mean(run["seconds"].values()) for run in runs):.2f} s an image, '
                      f'{min(run["cpu"] for run in runs):.2f} processor seconds for all, '
                      f'peak memory {max(run["peak_mib"] for run in runs)} MiB', flush=True)


def measure_sizes(build):
    print('size   ours program   seconds per picture')
    for size in draw.PLAIN_SIZES:
        with tempfile.TemporaryDirectory() as directory:
            base = pathlib.Path(directory)
            draw.draw_sizes(base, [size])
            images = sorted((base / 'images').glob('*.png'))
            seconds = ours(build, images, base / 'ours', 0, 1)['seconds']
            # With threads of its own it is many times slower on such small pictures.
            theirs = program(build, images, base / 'psm6', 6, 1, 1, base, threads=1)
            exact = []
            for results in ('ours', 'psm6'):
                total = score.totals(base / 'truth', base / results)
                exact.append(total['exact'] / total['lines'])
            print(f'{size:4} {exact[0]:6.3f} {exact[1]:7.3f}   {statistics.mean(seconds.values()):.3f} '
                  f'{statistics.mean(theirs.values()):.3f}', flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('build', nargs='?', type=pathlib.Path, default=HERE.parent.parent / 'build' / 'release')
    parser.add_argument('--rounds', type=int, default=2)
    parser.add_argument('--seeds', type=int, nargs=2, metavar=('FIRST', 'COUNT'), default=(1000, 40))
    parser.add_argument('--sizes', action='store_true')
    parser.add_argument('--cost', action='store_true')
    parser.add_argument('--beside', type=pathlib.Path, action='append', default=[])
    arguments = parser.parse_args()
    if arguments.cost:
        measure_cost([arguments.build, *arguments.beside], arguments.rounds)
        return
    if arguments.sizes:
        measure_sizes(arguments.build)
        return
    for data in (DATA, DATA / 'more'):
        measure(data.relative_to(HERE.parent), data, arguments.build, arguments.rounds)
    measure_cost([arguments.build], arguments.rounds)
    with tempfile.TemporaryDirectory() as directory:
        first, count = arguments.seeds
        scales = dict(draw.draw_screen(seed, pathlib.Path(directory)) for seed in range(first, first + count))
        measure(f'drawn at random from seeds {first} to {first + count - 1}', pathlib.Path(directory), arguments.build, 1,
                scales)


if __name__ == '__main__':
    main()
