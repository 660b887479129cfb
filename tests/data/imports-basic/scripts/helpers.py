def run():
    pass
