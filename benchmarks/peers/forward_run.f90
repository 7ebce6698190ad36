! The forward run as a plain Fortran program: sensitivity file, location file and model file in, predicted data out.
!
! What     a peer for velkrund in benchmarks/whole_run, written the way the language invites: unformatted reads,
!          list-directed reads, allocatable rows, one line at a time through the transform, an OpenMP loop over rows
! Build    gfortran -O3 -march=native -fopenmp
! Use      forward_run SENSITIVITY LOCATIONS MODEL     writes forward_run.out in the layout of velkrund.vlk
module forward_run_parts
  use iso_fortran_env, only: i4 => int32, i8 => int64, r4 => real32, r8 => real64
  implicit none

  type :: sparse_row
    integer(i4), allocatable :: idx(:)
    real(r4), allocatable :: val(:)
  end type

  integer(i4) :: ndata, ncol, ny, nx, nz, nfilter, ncube_y, ncube_x, ncube_z, idir
  integer(i4), allocatable :: itop(:, :)
  real(r8), allocatable :: wfilter(:), wtz(:), gdiag(:)
  type(sparse_row), allocatable :: Gs(:)
  real(r4), allocatable :: Gfull(:, :)
  real(r8), allocatable :: xobs(:), yobs(:), zobs(:), aincl_obs(:), adecl_obs(:)
  real(r8) :: incl, decl, geomag, aincl, adecl

contains

  subroutine load_sensitivity(name)
    character(*), intent(in) :: name
    real(r8), allocatable :: edges(:)
    integer(i4) :: i, nnz, kind_of_weights
    open (22, file=name, form='unformatted', access='sequential', status='old', action='read')
    read (22) ndata, ncol, ny, nx, nz
    allocate (edges(ny + nx + nz + 4), itop(ny, nx), wtz(ncol), gdiag(ncol))
    read (22) edges
    read (22) itop
    read (22) nfilter
    backspace (22)
    allocate (wfilter(nfilter))
    read (22) nfilter, wfilter
    read (22) ncube_y, ncube_x, ncube_z
    read (22) kind_of_weights, wtz
    if (nfilter >= 1) then
      allocate (Gs(ndata))
      do i = 1, ndata
        read (22) nnz
        backspace (22)
        allocate (Gs(i)%idx(nnz), Gs(i)%val(nnz))
        read (22) nnz, Gs(i)%idx, Gs(i)%val
      end do
    else
      allocate (Gfull(ncol, ndata))
      do i = 1, ndata
        read (22) Gfull(:, i)
      end do
    end if
    read (22) gdiag
    close (22)
  end subroutine

  subroutine read_locations(name)
    character(*), intent(in) :: name
    integer(i4) :: i, n
    open (1, file=name, status='old', action='read')
    read (1, *) incl, decl, geomag
    read (1, *) aincl, adecl, idir
    read (1, *) n
    if (n /= ndata) error stop 'numbers of data differ'
    allocate (xobs(n), yobs(n), zobs(n), aincl_obs(n), adecl_obs(n))
    do i = 1, n
      if (idir == 1) then
        read (1, *) xobs(i), yobs(i), zobs(i)
      else
        read (1, *) xobs(i), yobs(i), zobs(i), aincl_obs(i), adecl_obs(i)
      end if
    end do
    close (1)
  end subroutine

  ! The weighted model of the cells below the surface.
  subroutine read_model(name, model)
    character(*), intent(in) :: name
    real(r8), intent(out) :: model(ncol)
    integer(i4) :: i, j, k, n
    real(r8) :: value
    open (1, file=name, status='old', action='read')
    n = 0
    do i = 1, ny
      do j = 1, nx
        do k = 1, nz
          read (1, *) value
          if (k > itop(i, j)) then
            n = n + 1
            model(n) = value * wtz(n)
          end if
        end do
      end do
    end do
    close (1)
  end subroutine

  subroutine to_cube(model, cube)
    real(r8), intent(in) :: model(ncol)
    real(r8), intent(out) :: cube(ncube_z, ncube_x, ncube_y)
    integer(i4) :: i, j, n, deep
    cube = 0
    n = 0
    do i = 1, ny
      do j = 1, nx
        deep = nz - itop(i, j)
        cube(itop(i, j) + 1:nz, j, i) = model(n + 1:n + deep)
        n = n + deep
      end do
    end do
  end subroutine

  ! One analysis step on the first n elements of a line, periodic.
  subroutine step(a, work, n)
    integer(i4), intent(in) :: n
    real(r8), intent(inout) :: a(n), work(n)
    integer(i4) :: h, k, at
    real(r8) :: smooth, detail, sign
    do h = 0, n / 2 - 1
      smooth = 0
      detail = 0
      sign = merge(-1.0_r8, 1.0_r8, mod(nfilter, 2) == 1)
      do k = 1, nfilter
        at = iand(nfilter * n - nfilter / 2 + 2 * h + k + 1, n - 1) + 1
        smooth = smooth + wfilter(k) * a(at)
        detail = detail + sign * wfilter(nfilter + 1 - k) * a(at)
        sign = -sign
      end do
      work(h + 1) = smooth
      work(h + 1 + n / 2) = detail
    end do
    a = work
  end subroutine

  subroutine transform(cube)
    real(r8), intent(inout) :: cube(:)
    real(r8), allocatable :: line(:), work(:)
    integer(i4) :: nn(3), dim, n, nt, before, first
    integer(i8) :: block
    nn = [ncube_z, ncube_x, ncube_y]
    allocate (line(maxval(nn)), work(maxval(nn)))
    before = 1
    do dim = 1, 3
      n = nn(dim)
      if (n > 4) then
        do block = 0, size(cube, kind=i8) - 1, int(n, i8) * before
          do first = 1, before
            line(1:n) = cube(block + first:block + first + int(n - 1, i8) * before:before)
            nt = n
            do while (nt >= 4)
              call step(line(1:nt), work(1:nt), nt)
              nt = nt / 2
            end do
            cube(block + first:block + first + int(n - 1, i8) * before:before) = line(1:n)
          end do
        end do
      end if
      before = before * n
    end do
  end subroutine

  subroutine predict(model, d)
    real(r8), intent(in) :: model(ncol)
    real(r8), intent(out) :: d(ndata)
    real(r8), allocatable :: cube(:)
    integer(i4) :: i, k
    real(r8) :: s
    if (nfilter < 1) then
      !$omp parallel do schedule(static) private(k, s)
      do i = 1, ndata
        s = 0
        do k = 1, ncol
          s = s + Gfull(k, i) * model(k)
        end do
        d(i) = s
      end do
      return
    end if
    allocate (cube(int(ncube_y, i8) * ncube_x * ncube_z))
    call to_cube(model, cube)
    call transform(cube)
    !$omp parallel do schedule(static) private(k, s)
    do i = 1, ndata
      s = 0
      do k = 1, size(Gs(i)%idx)
        s = s + Gs(i)%val(k) * cube(Gs(i)%idx(k))
      end do
      d(i) = s
    end do
  end subroutine

  subroutine write_predicted(name, d)
    character(*), intent(in) :: name
    real(r8), intent(in) :: d(ndata)
    integer(i4) :: i
    open (22, file=name, status='unknown', action='write')
    write (22, '(3f10.2,a)') incl, decl, geomag, '  !! incl, decl, geomag'
    write (22, '(2f10.2,5x,i2,3x,a)') aincl, adecl, idir, '  !! aincl, adecl, idir'
    write (22, '(i7,23x,a)') ndata, '  !! # of data'
    do i = 1, ndata
      if (idir == 1) then
        write (22, '(3es17.9,2x,es14.6)') xobs(i), yobs(i), zobs(i), d(i)
      else
        write (22, '(3es17.9,2x,2es12.4,2x,es14.6)') xobs(i), yobs(i), zobs(i), aincl_obs(i), adecl_obs(i), d(i)
      end if
    end do
    close (22)
  end subroutine
end module

program forward_run
  use forward_run_parts
  implicit none
  character(500) :: sensitivity, locations, model_file
  real(r8), allocatable :: model(:), d(:)
  call get_command_argument(1, sensitivity)
  call get_command_argument(2, locations)
  call get_command_argument(3, model_file)
  call load_sensitivity(sensitivity)
  call read_locations(locations)
  allocate (model(ncol), d(ndata))
  call read_model(model_file, model)
  call predict(model, d)
  call write_predicted('forward_run.out', d)
end program
