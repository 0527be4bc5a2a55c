// For browsers without modules or without BigInt, and for a page that could not be loaded whole: the plain list of
// documents. Written for browsers of any age.
(function () {
    function show() {
        var sheet = document.createElement('link');
        sheet.rel = 'stylesheet';
        sheet.href = 'plain.css';
        document.getElementsByTagName('head')[0].appendChild(sheet);
    }
    if (!('noModule' in document.createElement('script')) || typeof BigInt === 'undefined') {
        show();
    } else {
        window.addEventListener('error', function (event) {
            if (event.target && event.target.type === 'module') show();
        }, true);
    }
}());
