"""Texts as screens show them, drawn by lot."""
LABELS = '''Open|Save|Save as|Cancel|Close|Apply|Delete|Rename|Edit|View|Help|Tools|Insert|Format|Window|Settings|
Preferences|Account|Sign in|Sign out|Create account|Keep both|Replace|Skip|Retry|Continue|Back|Next|Finish|Browse|
Search|Filter|Sort by name|Show details|Hide toolbar|Zoom in|Zoom out|Reset|Undo|Redo|Cut|Copy|Paste|Select all|
Find and replace|Print|Page setup|Export as PDF|Import|Download|Upload|Share|Send|Reply|Forward|Archive|Mark as read|
Range|Columns|Margins|Paragraph|Character|Headings|Overview|General|Advanced|Network|Bluetooth|Display|Sound|Power|
Keyboard shortcuts|Language and region|Date and time|Default applications|Notifications|Privacy|Storage|About|
Dark mode|Use system theme|Remember me|Send anonymous reports|Check for updates|Restart now|Enable wireless|
First name|Last name|Email address|Phone number|Street|City|Postcode|Country|Company|Job title|Card number|Amount|
Quantity|Subtotal|Discount|Shipping|Total|Add to basket|Buy now|Learn more|Read more|See all|My orders|Wish list'''
LABELS = [label.strip() for label in LABELS.replace('\n', '').split('|')]
NAMES = '''Ada Lee|Otto Baker|Grace Hopkins|Benjamin Cole|Chris Carpenter|Andrea Cimini|Max Montgomery|Orla Quinn|
Ivan Petrov|Lucy Ingram|Will Illingworth|Zoe Fox|Jamal Jefferson|Priya Kumar|Olga Ivanova|Quentin Ode|Iris Lindqvist'''
NAMES = [name.strip() for name in NAMES.replace('\n', '').split('|')]
SENTENCES = '''The meeting has been moved to Thursday at noon.|Please review the attached report before Friday.|
Your changes will be lost if you close the window now.|A newer version of this file exists in the folder.|
Could not reach the server; trying again in a minute.|All tests passed, so I will merge the branch today.|
Do you know where the keys to the small office are?|We shipped 48 orders yesterday and 3 came back.|
Lunch at the new place near the station?|I'll call you when the train arrives.|
The quick look at the numbers shows no surprise.|Nothing was found that matches your search.|
Up to 40% off selected gear until 30 November|Free delivery on orders over $50|
Installation needs about 1.5 GB of free disk space.|Illegal characters in the file name were replaced.|
Which of the two pictures do you like better?|It is quiet up here, and the view is splendid.|
Move the slider to the right to make the text larger.|You can change this later in the settings.|
The printer is out of paper.|Your session ends in 10 minutes.|See you at 8:15 then!|That works for me, thanks.|
Our garden has grown a lot since the last visit.|Each page is checked twice before it goes to print.|
Only owners may invite other people to this group.|This action cannot be undone.|
A short walk along the river takes half an hour.|The old bridge was opened to traffic in 1931.|
Signal quality is good (87%), 5 devices connected.|Quarterly results improved for the third time.'''
SENTENCES = [sentence.strip() for sentence in SENTENCES.replace('\n', '').split('|')]
TITLES = '''Annual review|Road map|Large canvas text|Getting started|What we learnt|Questions and answers|
Market overview|Our team|Winter sale|Release notes|Budget 2025|Designing for everyone|Weekly status|Thank you!|
Field guide to birds|Kitchen stories|Hello again|Under the hood|Growth in Q3|Welcome back, Lucy'''
TITLES = [title.strip() for title in TITLES.replace('\n', '').split('|')]
WORDS = '''report invoice budget notes summary photo backup draft archive index main module render parser window
buffer client server update config session handler total value result count item list table'''.split()
KEYWORDS = 'return if else for while auto const int void bool static class struct'.split()


def number(rng):
    return rng.choice((lambda: str(rng.randint(0, 99)), lambda: f'{rng.randint(100, 999999):,}',
                       lambda: f'{rng.uniform(0, 1000):.2f}', lambda: f'{rng.randint(0, 100)}%',
                       lambda: price(rng)))()


def price(rng):
    return f'{rng.choice("$€£")}{rng.randint(1, 1999):,}.{rng.choice(("00", "49", "50", "90", "95", "99"))}'


def date(rng):
    year, month, day = rng.randint(1998, 2026), rng.randint(1, 12), rng.randint(1, 28)
    name = 'Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec'.split()[month - 1]
    return rng.choice((f'{year}-{month:02}-{day:02}', f'{day} {name} {year}', f'{name} {day}, {year}',
                       f'{day:02}/{month:02}/{year}'))


def time(rng):
    return rng.choice((f'{rng.randint(0, 23):02}:{rng.randint(0, 59):02}',
                       f'{rng.randint(1, 12)}:{rng.randint(0, 59):02} {rng.choice(("AM", "PM"))}'))


def size(rng):
    return f'{rng.choice((rng.randint(1, 999), round(rng.uniform(1, 20), 1)))} {rng.choice(("KB", "MB", "GB"))}'


def phone(rng):
    return f'0800 {rng.randint(100, 999)} {rng.randint(1000, 9999)}'


def file(rng):
    stem = rng.choice(('{0}', '{0}-{2}', '{0}_{1}', 'IMG_{2}', '{0}-v{3}')).format(
        rng.choice(WORDS), rng.choice(WORDS), rng.randint(1, 2026), rng.randint(1, 9))
    return f'{stem}.{rng.choice("pdf txt png jpg cpp h py md csv json zip".split())}'


def mail(rng):
    first, last = rng.choice(NAMES).lower().split()
    return f'{first}.{last}@{rng.choice(("example.org", "mail1.example.com", "lists.example.net"))}'


def cell(rng):
    return rng.choice((lambda: rng.choice(NAMES), lambda: number(rng), lambda: date(rng), lambda: file(rng),
                       lambda: size(rng), lambda: rng.choice(LABELS), lambda: price(rng),
                       lambda: f'Q{rng.randint(1, 4)}', lambda: phone(rng)))()


def code(rng):
    a, b, c = (rng.choice(WORDS) for _ in range(3))
    n = rng.randint(0, 256)
    return rng.choice((f'const auto {a} = {b}({c}, {n});', f'if ({a}.size() > {n}) return {b};', f'#include "{a}/{b}.h"',
                       f'for (int i = 0; i < {n}; ++i) {{', f'// The {a} is {b} of the {c}.', f'{a}->{b}({c}[{n}]);',
                       '}', f'void {a}{b.title()}(const {c.title()}& {c}) {{', f'{a}_{b} += 0x{n:02x};',
                       f'return {a} == "{b}" ? {n} : {c};', f'{a} = {{{n}, {n + 1}}};', f'def {a}_{b}({c}):'))


def command(rng):
    a, b = rng.choice(WORDS), file(rng)
    return rng.choice((f'ls -la {a}', f'git commit -m "{a} {rng.choice(WORDS)}"', f'cat {b} | grep {a}', 'make -j8',
                       f'cp {b} ~/{a}/', f'ssh {a}@10.0.0.{rng.randint(1, 254)}', f'cd /usr/share/{a}',
                       f'-rw-r--r-- 1 root root {rng.randint(10, 99999)} Nov {rng.randint(10, 30)} 10:{rng.randint(10, 59)} {b}',
                       f'[{rng.randint(1, 99)}%] Building {a}.o', f'error: {a}: no such file or directory',
                       f'{rng.randint(1, 30)} files changed, {rng.randint(1, 900)} insertions(+)'))
