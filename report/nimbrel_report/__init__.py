"""The parts of nimbrel-report. collect.py asks the tool about the drives of this host, document.py checks what was
collected here or elsewhere, findings.py and changes.py judge it, page.py makes the HTML file of it."""
