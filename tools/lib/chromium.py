"""How a Chromium is started on a private desktop, for tests and benchmarks."""

CHROMIUM = ["chromium", "--no-sandbox", "--no-first-run",
            "--disable-background-networking", "--disable-component-update", "--disable-sync", "--disable-gpu",
            "--no-default-browser-check", "--disable-features=Translate", "--password-store=basic"]
